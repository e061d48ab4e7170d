#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/Timestamp.h"
#include "platform/TextEmbedder.h"
#include "records/CrumbItem.h"
#include "records/UsageSignal.h"
#include "retrieval/deep/Association.h"
#include "retrieval/deep/DeepSearchResult.h"
#include "retrieval/deep/VectorMatrix.h"

namespace nookery {

/// At most this many memories take part in the deep stage, those admitted by similarity included.
constexpr std::size_t deepCandidateLimit = 240;
/// With fewer strong lexical hits than this, similarity admits memories without a lexical hit.
constexpr std::size_t deepSemanticFallbackThreshold = 24;
/// So many of the best lexical hits always take part, however many others are admitted.
constexpr std::size_t deepSafetyCandidateCount = 24;
/// Similarity admits at most this many memories, the most similar ones.
constexpr std::size_t similarityAdmissionLimit = 24;

/// A lexical hit that takes part in the deep stage.
struct DeepCandidate {
    CrumbItemPointer item;
    double lexicalScore = 0;  ///< on the deep stage's scale, see RankingWeights
    std::string hint;
    std::size_t requestedTagCount = 0;
    /// Whether the memory's title or tags hold every word typed. No memory that similarity alone
    /// admitted may stand above it.
    bool holdsEveryWord = false;
    bool holdsWordsSomewhere = false;  ///< some field holds every word as it was typed
    std::vector<AssociationToken> associationTokens;
    std::optional<std::size_t> vectorRow;  ///< its vector's row in the request's view
};

/// See RetrievalEngine.h.
class DeepSearchRequest {
  public:
    /// The text to embed: the words typed, without tags. Empty for a query of tags alone, in which
    /// similarity has no part.
    std::string words;
    std::vector<DeepCandidate> candidates;  ///< in rank order, at most deepCandidateLimit
    std::size_t lexicalCount = 0;           ///< the number of all lexical hits
    double fullMatchScore = 0;              ///< of a memory whose contents hold every word
    bool admitsBySimilarity = false;        ///< whether similarity admits further memories
    VectorView vectors;
    UsageSignals usage;
    Timestamp now;
};

/// Runs the deep stage; see RetrievalEngine::deepSearch.
DeepSearchResult runDeepSearch(const DeepSearchRequest& request, const TextEmbedder* embedder,
                               std::stop_token stop);

}  // namespace nookery
