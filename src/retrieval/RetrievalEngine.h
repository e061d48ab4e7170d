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

namespace nookery {

/// Everything the deep stage needs, gathered on the main thread; holds no reference into the
/// engine that a later change could touch, so that it may run on any thread.
class DeepSearchRequest;

/// Finds memories. Holds the index of the library in memory and nothing on disk; always describes
/// exactly the memories it was given. Main thread, except where said.
///
/// How a memory gets in, a file a stage:
///   FoldTable, TextNormalizer   text to comparable forms, and these to tokens
///   Hashtags, SearchRecord      the texts and tags of a memory that are searched
///   Vocabulary                  the distinct tokens, found by any part of them
///   TokenStreams, TermFrequencies    what a memory holds, written once; each token's place and
///   weight Postings, LexicalIndex      which memories hold a token; adding, removing, compacting
/// How it is found:
///   Query                       what was typed, as terms and tags
///   PhraseMatcher               terms of several tokens ("e-mail")
///   TermMatches, ScoreAccumulator       one term: for every memory, where it stands and how
///   strongly LexicalScorer               all terms: the best memories and the number of hits
///   LexicalSearch, SearchHints  the lexical stage from text to ranked hits with their reasons
///   VectorMatrix, Association   similarity of meaning, and what memories have in common
///   CandidateRetrieval, DeepScore, DeepSearch   the final order
///   Excerpt, SearchExplanation  what people see of it
/// What it is like:
///   VersionFamily, FileFamilies  other versions and formats of a file
///   TextLikeness, RelatedMemories  near-duplicate texts, and what a memory reminds of
/// The numbers are in RankingWeights and DeepScore.
///
/// A term of one token stands in a text exactly when it stands inside one of the text's tokens.
/// So the vocabulary answers which tokens hold it, their postings which memories; no text is read.
class RetrievalEngine {
  public:
    /// Ranks by these weights as long as it lives.
    explicit RetrievalEngine(const RankingWeights& weights = {});
    ~RetrievalEngine();

    /// Adds a memory, or replaces all that is known of one with this id (its vector stays).
    void put(const CrumbItemPointer& item, const MemoryAttributes& attributes);
    /// As `put` for each, faster: use for loading. `attributes` has an entry for each item, or
    /// none.
    void putAll(std::span<const CrumbItemPointer> items,
                const std::vector<MemoryAttributes>& attributes);
    void remove(const Uuid& id);
    void clear();
    std::size_t size() const;

    /// The memory's embedding; of a length other than the others' it is ignored, empty removes it.
    void setVector(const Uuid& id, std::span<const double> vector);

    /// The lexical stage: parses, scores and ranks; the best `limit` hits with hints. An empty
    /// query gives an empty snapshot.
    LexicalSnapshot search(std::string_view searchText, std::size_t limit) const;

    /// Gathers what the deep stage needs for a snapshot that `search` just made (with a limit of
    /// at least 240).
    std::shared_ptr<const DeepSearchRequest> prepareDeepSearch(const LexicalSnapshot& snapshot,
                                                               const UsageSignals& usage,
                                                               Timestamp now) const;

    /// The deep stage. Any thread; throws Cancelled when stop is requested. With no embedder the
    /// semantic part is left out.
    static DeepSearchResult deepSearch(const DeepSearchRequest& request,
                                       const TextEmbedder* embedder, std::stop_token stop);

    /// The best passage of a memory for a query, with each match between `open` and `close`; in
    /// the memory's own spelling. Empty when the memory holds no text.
    std::string excerpt(const CrumbItem& item, const LexicalSnapshot& snapshot,
                        std::string_view open, std::string_view close) const;

    /// The memories that this one reminds of, best first, at most 12: near-duplicates of its text,
    /// then what shares its rare words, its meaning or its file's name. Remembered until the next
    /// change of the index. Empty for a memory that is not in it.
    std::vector<Uuid> related(const Uuid& id) const;
    /// The other versions of its file (VersionFamily.h), newest first.
    std::vector<Uuid> versions(const Uuid& id) const;
    /// Does a part of what the first question for these must do (a millisecond or two); answers
    /// whether there is more of it.
    bool prepareVersions();

    /// What each stage made of a query, for people.
    std::string explain(std::string_view searchText) const;

    /// Bytes held by the index, vectors not counted.
    std::size_t indexByteCount() const;

  private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace nookery
