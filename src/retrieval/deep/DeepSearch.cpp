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

/// A memory with its score in the making.
struct ScoredCandidate {
    CrumbItemPointer item;
    std::string lexicalHint;  ///< empty for a memory that similarity admitted
    ScoreParts parts;
    std::string partnerTitle;  ///< of the close partner; empty when there is none
    double usage = 0;          ///< 0 to 1
    double score = 0;
    bool isAdmitted = false;
    bool holdsEveryWord = false;
    bool holdsWordsSomewhere = false;
};

void throwIfStopped(const std::stop_token& stop) {
    if (stop.stop_requested()) throw Cancelled();
}

ScoredCandidate makeCandidate(const CrumbItemPointer& item, const DeepSearchRequest& request) {
    ScoredCandidate candidate;
    candidate.item = item;
    candidate.parts.age = ageBonus(item->createdAt, request.now);
    if (const auto usage = request.usage.find(item->id); usage != request.usage.end()) {
        candidate.parts.usage = usageBonus(usage->second, request.now);
        candidate.usage = usageValue(usage->second, request.now);
    }
    return candidate;
}

std::vector<ScoredCandidate> admittedBySimilarity(const DeepSearchRequest& request,
                                                  std::span<const float> query,
                                                  const std::stop_token& stop) {
    std::unordered_set<Uuid> hits;
    for (const DeepCandidate& hit : request.candidates) hits.insert(hit.item->id);
    const auto matches = request.vectors.mostSimilar(
        query, leastSemanticCosine, request.candidates.size() + similarityAdmissionLimit, stop);
    std::vector<ScoredCandidate> admitted;
    for (const VectorMatch& match : matches) {
        if (hits.contains(match.item->id)) continue;
        if (admitted.size() == similarityAdmissionLimit) break;
        ScoredCandidate candidate = makeCandidate(match.item, request);
        candidate.parts.semantic = semanticBonus(match.cosine);
        candidate.isAdmitted = true;
        admitted.push_back(std::move(candidate));
    }
    return admitted;
}

/// `candidates` are made of the first of the request's lexical hits, in their order.
void addAssociations(const DeepSearchRequest& request, std::span<ScoredCandidate> candidates) {
    const auto hits = std::span(request.candidates).first(candidates.size());
    double bestScore = request.fullMatchScore;
    for (const DeepCandidate& hit : hits) bestScore = std::max(bestScore, hit.lexicalScore);
    std::vector<AssociationCandidate> memories;
    for (const DeepCandidate& hit : hits) {
        memories.push_back({hit.associationTokens, hit.lexicalScore / bestScore});
    }
    const auto partners = bestPartners(memories);
    for (std::size_t i = 0; i < partners.size(); ++i) {
        if (!partners[i]) continue;
        candidates[i].parts.association = partners[i]->contribution;
        if (partners[i]->association.value < closeAssociationValue) continue;
        candidates[i].parts.association += closePartnerBonus;
        candidates[i].partnerTitle = hits[partners[i]->partner].item->title;
    }
}

std::vector<ScoredCandidate> lexicalCandidates(const DeepSearchRequest& request,
                                               const QueryVector& query, std::size_t count) {
    std::vector<ScoredCandidate> candidates;
    for (const DeepCandidate& hit : std::span(request.candidates).first(count)) {
        ScoredCandidate candidate = makeCandidate(hit.item, request);
        candidate.parts.lexical = hit.lexicalScore;
        candidate.parts.requestedTags = hit.requestedTagCount;
        candidate.lexicalHint = hit.hint;
        candidate.holdsEveryWord = hit.holdsEveryWord;
        candidate.holdsWordsSomewhere = hit.holdsWordsSomewhere;
        if (query && hit.vectorRow) {
            const auto cosine = request.vectors.cosineOfRow(*hit.vectorRow, *query);
            candidate.parts.semantic = cosine ? semanticBonus(*cosine) : 0;
        }
        candidates.push_back(std::move(candidate));
    }
    addAssociations(request, candidates);
    return candidates;
}

/// Scales the scores of the memories that similarity admitted, so that they stay in order and below
/// every memory whose title or tags hold all words typed.
void scaleAdmittedBelowFullMatches(std::span<ScoredCandidate> candidates) {
    double lowestFull = std::numeric_limits<double>::infinity();
    double highestAdmitted = 0;
    for (const ScoredCandidate& candidate : candidates) {
        if (candidate.holdsEveryWord) lowestFull = std::min(lowestFull, candidate.score);
        if (candidate.isAdmitted) highestAdmitted = std::max(highestAdmitted, candidate.score);
    }
    if (highestAdmitted < lowestFull) return;
    const double factor = 0.999 * lowestFull / highestAdmitted;
    for (ScoredCandidate& candidate : candidates) {
        if (candidate.isAdmitted) candidate.score *= factor;
    }
}

bool ranksBefore(const ScoredCandidate& a, const ScoredCandidate& b) {
    if (a.score != b.score) return a.score > b.score;
    if (a.item->createdAt != b.item->createdAt) return a.item->createdAt > b.item->createdAt;
    return a.item->id < b.item->id;
}

/// Names the strongest reason: the lexical hint, unless meaning and association together weigh more
/// than the words. Even then the lexical hint says more than "Matched by association" when the
/// memory holds all words.
std::string hintFor(const ScoredCandidate& candidate) {
    const ScoreParts& parts = candidate.parts;
    const double words =
        finalScore({.lexical = parts.lexical, .requestedTags = parts.requestedTags});
    if (!candidate.isAdmitted && words >= parts.semantic + parts.association) {
        return candidate.lexicalHint;
    }
    if (!trimmed(candidate.partnerTitle).empty()) return "Related to " + candidate.partnerTitle;
    if (candidate.usage >= recentUseValue) return "You used this recently";
    return candidate.holdsWordsSomewhere ? candidate.lexicalHint : "Matched by association";
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
    auto candidates = lexicalCandidates(
        request, query, std::min(request.candidates.size(), deepCandidateLimit - admitted.size()));
    throwIfStopped(stop);
    candidates.insert(candidates.end(), std::make_move_iterator(admitted.begin()),
                      std::make_move_iterator(admitted.end()));
    for (ScoredCandidate& candidate : candidates) candidate.score = finalScore(candidate.parts);
    scaleAdmittedBelowFullMatches(candidates);
    std::sort(candidates.begin(), candidates.end(), ranksBefore);

    DeepSearchResult result;
    result.totalCount = request.lexicalCount + admitted.size();
    for (const ScoredCandidate& candidate : candidates) {
        result.hits.push_back(
            {candidate.item->id, candidate.score, hintFor(candidate), candidate.item});
    }
    throwIfStopped(stop);
    return result;
}

}  // namespace nookery
