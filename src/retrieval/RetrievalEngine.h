#pragma once

#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "platform/TextEmbedder.h"
#include "records/CrumbItem.h"
#include "records/UsageSignal.h"
#include "retrieval/deep/DeepSearchResult.h"
#include "retrieval/index/RankingWeights.h"
#include "retrieval/index/SearchRecord.h"
#include "retrieval/lexical/LexicalSnapshot.h"
#include "retrieval/show/Excerpt.h"

namespace nookery {

/// Everything that the deep stage needs. Made on the main thread; later changes of the engine do
/// not touch it, so that the stage may run on any thread. See deep/DeepSearch.h.
class DeepSearchRequest;

/// Finds memories. The engine holds its index in memory and nothing on disk. It always describes
/// exactly the memories it was given. Main thread, except where said.
///
/// The rooms, in the order of the pipeline; the files of a room in reading order:
///
/// text/     makes texts comparable
///   FoldTable           the foldings of single code points
///   TextNormalizer      the two forms of a text, and their tokens
///   EnglishWords        stems and function words
///   Hashtags            tags written in a text
///   ContentPieces       the pieces of a memory's searchable text
/// index/    what the library holds
///   SearchRecord        the searchable text of a memory
///   Vocabulary          the distinct tokens, found by any part of them
///   TokenStreams        the forward index: the tokens of each memory
///   RankingWeights      the numbers of the lexical ranking
///   TermFrequencies     counts a memory's tokens: their fields and impacts
///   Postings            the inverted index: the memories that hold each token
///   LexicalIndex        all of these together: adding, removing, compacting
///   ScoreAccumulator    one match score for each memory, while a term is searched
/// lexical/  the lexical stage, from the typed text to ranked hits
///   Query               the terms and tags of the typed text
///   PhraseMatcher       terms of several tokens ("e-mail")
///   TermMatches         the matches of one term in all memories
///   LexicalScorer       combines the terms: the best memories and the number of hits
///   SearchHints         the reason shown under a hit
///   LexicalSearch       runs these stages; LexicalSnapshot is their result
/// deep/     the deep stage, which decides the final order
///   VectorKernels, VectorMatrix      similarity of meaning
///   Association         what memories have in common
///   DeepScore           the numbers of the deep stage
///   CandidateRetrieval  the candidates, with all that the stage reads
///   DeepSearch          runs the stage; DeepSearchResult is its result
/// related/  the memories shown beside one memory
///   VersionFamily, FileFamilies      versions and formats of its file
///   TextSimilarity      near-duplicate texts
///   RelatedMemories     the memories related to it
///   MachineNames, FilenameCleanup  machine-generated titles, and better ones
/// show/     what people see of a search
///   Excerpt             the best passage of a memory
///   SearchExplanation   the stages in words
///
/// One fact makes the lexical stage fast: a text contains a term of one token exactly when one of
/// the text's tokens contains it. So the vocabulary gives the tokens and the postings give the
/// memories. No text is read.
class RetrievalEngine {
  public:
    /// What a library is loaded for. For a few searches much of the index is made only when they
    /// need it; the answers are the same.
    enum class Expected { manySearches, fewSearches };

    /// The weights hold for the engine's whole life.
    explicit RetrievalEngine(const RankingWeights& weights = {});
    ~RetrievalEngine();

    /// Adds a memory, or replaces the one with this id; its vector stays.
    void put(const CrumbItemPointer& item, const MemoryAttributes& attributes);
    /// The same for many memories, but faster: for loading a library. `attributes` has an entry for
    /// each item, or none at all.
    void putAll(std::span<const CrumbItemPointer> items,
                const std::vector<MemoryAttributes>& attributes,
                Expected expected = Expected::manySearches);
    void remove(const Uuid& id);
    void clear();
    std::size_t size() const;

    /// Sets the memory's embedding. An empty vector, or one of another length than the others',
    /// removes it. Ignored for an unknown memory.
    void setVector(const Uuid& id, std::span<const double> vector);

    /// The lexical stage: parses the query, scores and ranks the memories. The snapshot has the
    /// best `limit` hits with their hints; it is empty for an empty query.
    LexicalSnapshot search(std::string_view searchText, std::size_t limit) const;

    /// Prepares the deep stage for a snapshot that `search` has just made with a limit of at least
    /// deepCandidateLimit.
    std::shared_ptr<const DeepSearchRequest> prepareDeepSearch(const LexicalSnapshot& snapshot,
                                                               const UsageSignals& usage,
                                                               Timestamp now) const;

    /// The deep stage. Without an embedder it leaves out the similarity of meaning. Any thread.
    /// Throws Cancelled when stop is requested.
    static DeepSearchResult deepSearch(const DeepSearchRequest& request,
                                       const TextEmbedder* embedder, std::stop_token stop);

    /// The passage of a memory that matches a query best, in the memory's own spelling. Empty when
    /// the memory has no text. Takes a while for a long text. Any thread.
    static Excerpt excerpt(const CrumbItem& item, const ExcerptTerms& terms);

    /// The memories related to one, best first, at most relatedLimit (related/RelatedMemories.h).
    /// Cached until the next change of the index. Empty for an unknown memory.
    std::vector<Uuid> related(const Uuid& id) const;
    /// The other versions of a memory's file (related/VersionFamily.h), newest first.
    std::vector<Uuid> versions(const Uuid& id) const;
    /// Does a millisecond or two of the work that the first call of `versions` or `related` needs;
    /// answers whether more is left.
    bool prepareVersions();

    /// What each stage of the lexical search made of a query, for people.
    std::string explain(std::string_view searchText) const;

    /// The bytes that the index holds, without the vectors.
    std::size_t indexByteCount() const;

  private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace nookery
