#include "retrieval/deep/DeepSearch.h"

#include <algorithm>
#include <limits>
#include <span>
#include <unordered_set>

#include "foundation/Error.h"
#include "foundation/Text.h"
#include "retrieval/deep/DeepScore.h"

namespace nookery {
namespace {

static_assert(deepSafetyCandidateCount + similarityAdmissionLimit <= deepCandidateLimit);

using QueryVector = std::optional<std::vector<float>>;

/// A memory on its way to the final order.
struct ScoredCandidate {
    CrumbItemPointer item;
    std::string lexicalHint;  ///< empty for a memory that similarity admitted
    ScoreParts parts;
    std::string partnerTitle;  ///< of a close partner; empty when there is none
    double usage = 0;          ///< 0 to 1
    double score = 0;
    bool isAdmitted = false;
    bool holdsEveryWord = false;
    bool holdsWordsSomewhere = false;
};

void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested()) throw Cancelled();
}

ScoredCandidate scoredCandidateFor(const CrumbItemPointer& item, const DeepSearchRequest& request) {
    ScoredCandidate scored;
    scored.item = item;
    scored.parts.age = ageBonus(item->createdAt, request.now);
    if (const auto usage = request.usage.find(item->id); usage != request.usage.end()) {
        scored.parts.usage = usageBonus(usage->second, request.now);
        scored.usage = usageValue(usage->second, request.now);
    }
    return scored;
}

std::vector<ScoredCandidate> admittedBySimilarity(const DeepSearchRequest& request,
                                                  std::span<const float> query,
                                                  const std::stop_token& stop) {
    std::unordered_set<Uuid> present;
    for (const auto& candidate : request.candidates) present.insert(candidate.item->id);
    const auto matches = request.vectors.mostSimilar(
        query, leastSemanticCosine, request.candidates.size() + similarityAdmissionLimit, stop);
    std::vector<ScoredCandidate> admitted;
    for (const VectorMatch& match : matches) {
        if (present.contains(match.item->id)) continue;
        if (admitted.size() == similarityAdmissionLimit) break;
        ScoredCandidate scored = scoredCandidateFor(match.item, request);
        scored.parts.semantic = semanticBonus(match.cosine);
        scored.isAdmitted = true;
        admitted.push_back(std::move(scored));
    }
    return admitted;
}

void addAssociations(const DeepSearchRequest& request,
                     std::span<ScoredCandidate> scoredCandidates) {
    const auto candidates = std::span(request.candidates).first(scoredCandidates.size());
    double bestScore = request.fullMatchScore;
    for (const auto& candidate : candidates)
        bestScore = std::max(bestScore, candidate.lexicalScore);
    std::vector<AssociationCandidate> memories;
    for (const auto& candidate : candidates) {
        memories.push_back({candidate.associationTokens, candidate.lexicalScore / bestScore});
    }
    const auto partners = bestPartners(memories);
    for (std::size_t i = 0; i < partners.size(); ++i) {
        if (!partners[i]) continue;
        scoredCandidates[i].parts.association = partners[i]->contribution;
        if (partners[i]->association.value < closeAssociationValue) continue;
        scoredCandidates[i].parts.association += closePartnerBonus;
        scoredCandidates[i].partnerTitle = candidates[partners[i]->partner].item->title;
    }
}

std::vector<ScoredCandidate> scoredLexicalHits(const DeepSearchRequest& request,
                                               const QueryVector& query, std::size_t count) {
    const auto candidates = std::span(request.candidates).first(count);
    std::vector<ScoredCandidate> scoredCandidates;
    for (const DeepCandidate& candidate : candidates) {
        ScoredCandidate scored = scoredCandidateFor(candidate.item, request);
        scored.parts.lexical = candidate.lexicalScore;
        scored.parts.requestedTags = candidate.requestedTagCount;
        scored.lexicalHint = candidate.hint;
        scored.holdsEveryWord = candidate.holdsEveryWord;
        scored.holdsWordsSomewhere = candidate.holdsWordsSomewhere;
        if (query && candidate.vectorRow) {
            const auto value = request.vectors.cosineOfRow(*candidate.vectorRow, *query);
            scored.parts.semantic = value ? semanticBonus(*value) : 0;
        }
        scoredCandidates.push_back(std::move(scored));
    }
    addAssociations(request, scoredCandidates);
    return scoredCandidates;
}

/// Pushes what similarity admitted below every memory whose title or tags hold all that was
/// typed, keeping its order.
void holdAdmittedBelowFullMatches(std::span<ScoredCandidate> scoredCandidates) {
    double lowestFull = std::numeric_limits<double>::infinity();
    double highestAdmitted = 0;
    for (const ScoredCandidate& scored : scoredCandidates) {
        if (scored.holdsEveryWord) lowestFull = std::min(lowestFull, scored.score);
        if (scored.isAdmitted) highestAdmitted = std::max(highestAdmitted, scored.score);
    }
    if (highestAdmitted < lowestFull) return;
    const double factor = 0.999 * lowestFull / highestAdmitted;
    for (ScoredCandidate& scored : scoredCandidates) {
        if (scored.isAdmitted) scored.score *= factor;
    }
}

bool ranksBefore(const ScoredCandidate& a, const ScoredCandidate& b) {
    if (a.score != b.score) return a.score > b.score;
    if (a.item->createdAt != b.item->createdAt) return a.item->createdAt > b.item->createdAt;
    return a.item->id < b.item->id;
}

/// The strongest reason: the words' own unless meaning or association weighs more. That alone says
/// less of a memory than where all the words stand.
std::string hintFor(const ScoredCandidate& scored) {
    const ScoreParts& parts = scored.parts;
    const double words =
        finalScore({.lexical = parts.lexical, .requestedTags = parts.requestedTags});
    if (!scored.isAdmitted && words >= parts.semantic + parts.association) {
        return scored.lexicalHint;
    }
    if (!trimmed(scored.partnerTitle).empty()) return "Related to " + scored.partnerTitle;
    if (scored.usage >= recentUseValue) return "You used this recently";
    return scored.holdsWordsSomewhere ? scored.lexicalHint : "Matched by association";
}

}  // namespace

DeepSearchResult runDeepSearch(const DeepSearchRequest& request, const TextEmbedder* embedder,
                               std::stop_token stop) {
    throwIfStopped(stop);
    QueryVector query;
    if (embedder != nullptr && !request.words.empty() && request.vectors.rowCount() > 0) {
        query = embedder->embedQuery(request.words);
        throwIfStopped(stop);
    }
    std::vector<ScoredCandidate> admitted;
    if (query && request.admitsBySimilarity) admitted = admittedBySimilarity(request, *query, stop);
    auto scoredCandidates = scoredLexicalHits(
        request, query, std::min(request.candidates.size(), deepCandidateLimit - admitted.size()));
    throwIfStopped(stop);
    scoredCandidates.insert(scoredCandidates.end(), std::make_move_iterator(admitted.begin()),
                            std::make_move_iterator(admitted.end()));
    for (ScoredCandidate& scored : scoredCandidates) scored.score = finalScore(scored.parts);
    holdAdmittedBelowFullMatches(scoredCandidates);
    std::sort(scoredCandidates.begin(), scoredCandidates.end(), ranksBefore);

    DeepSearchResult result;
    result.totalCount = request.lexicalCount + admitted.size();
    for (const ScoredCandidate& scored : scoredCandidates) {
        result.hits.push_back({scored.item->id, scored.score, hintFor(scored)});
    }
    throwIfStopped(stop);
    return result;
}

}  // namespace nookery
