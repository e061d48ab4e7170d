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

/// At most this many memories take part in the deep stage, admitted ones counted.
constexpr std::size_t deepCandidateLimit = 240;
/// Below this many lexical hits, memories without one are admitted by similarity.
constexpr std::size_t deepSemanticFallbackThreshold = 24;
/// The best lexical hits that always take part, however many others are admitted.
constexpr std::size_t deepSafetyCandidateCount = 24;
/// At most this many memories are admitted by similarity: the most similar ones.
constexpr std::size_t similarityAdmissionLimit = 24;

/// A lexical hit that takes part in the deep stage.
struct DeepCandidate {
    CrumbItemPointer item;
    double lexicalScore = 0;  ///< on the deep stage's scale, see RankingWeights
    std::string hint;
    std::size_t requestedTagCount = 0;
    /// The memory's title or tags hold every word typed: nothing that similarity alone admitted
    /// may stand above it.
    bool holdsEveryWord = false;
    bool holdsWordsSomewhere = false;  ///< every word, as it was typed
    std::vector<AssociationToken> associationTokens;
    std::optional<std::size_t> vectorRow;  ///< where its vector stands in the request's view
};

class DeepSearchRequest {
  public:
    /// What to embed: the words typed, without tags. Empty for a pure tag query, which similarity
    /// neither ranks nor adds to.
    std::string words;
    std::vector<DeepCandidate> candidates;  ///< in rank order, at most deepCandidateLimit
    std::size_t lexicalCount = 0;           ///< all lexical hits
    double fullMatchScore = 0;              ///< of a memory whose contents hold every word
    bool admitsBySimilarity = false;        ///< whether memories without a lexical hit may come in
    VectorView vectors;
    UsageSignals usage;
    Timestamp now;
};

/// The deep stage over what was gathered; see RetrievalEngine::deepSearch.
DeepSearchResult runDeepSearch(const DeepSearchRequest& request, const TextEmbedder* embedder,
                               std::stop_token stop);

}  // namespace nookery
