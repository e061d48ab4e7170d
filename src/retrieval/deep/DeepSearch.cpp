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
struct Contender {
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

Contender contenderFor(const CrumbItemPointer& item, const DeepSearchRequest& request) {
    Contender contender;
    contender.item = item;
    contender.parts.age = ageBonus(item->createdAt, request.now);
    if (const auto usage = request.usage.find(item->id); usage != request.usage.end()) {
        contender.parts.usage = usageBonus(usage->second, request.now);
        contender.usage = usageValue(usage->second, request.now);
    }
    return contender;
}

std::vector<Contender> admittedBySimilarity(const DeepSearchRequest& request,
                                            std::span<const float> query,
                                            const std::stop_token& stop) {
    std::unordered_set<Uuid> present;
    for (const auto& candidate : request.candidates) present.insert(candidate.item->id);
    const auto matches = request.vectors.mostSimilar(
        query, leastSemanticCosine, request.candidates.size() + similarityAdmissionLimit, stop);
    std::vector<Contender> admitted;
    for (const VectorMatch& match : matches) {
        if (present.contains(match.item->id)) continue;
        if (admitted.size() == similarityAdmissionLimit) break;
        Contender contender = contenderFor(match.item, request);
        contender.parts.semantic = semanticBonus(match.cosine);
        contender.isAdmitted = true;
        admitted.push_back(std::move(contender));
    }
    return admitted;
}

void addAssociations(const DeepSearchRequest& request, std::span<Contender> contenders) {
    const auto candidates = std::span(request.candidates).first(contenders.size());
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
        contenders[i].parts.association = partners[i]->contribution;
        if (partners[i]->association.value < closeAssociationValue) continue;
        contenders[i].parts.association += closePartnerBonus;
        contenders[i].partnerTitle = candidates[partners[i]->partner].item->title;
    }
}

std::vector<Contender> lexicalContenders(const DeepSearchRequest& request, const QueryVector& query,
                                         std::size_t count) {
    const auto candidates = std::span(request.candidates).first(count);
    std::vector<Contender> contenders;
    for (const DeepCandidate& candidate : candidates) {
        Contender contender = contenderFor(candidate.item, request);
        contender.parts.lexical = candidate.lexicalScore;
        contender.parts.requestedTags = candidate.requestedTagCount;
        contender.lexicalHint = candidate.hint;
        contender.holdsEveryWord = candidate.holdsEveryWord;
        contender.holdsWordsSomewhere = candidate.holdsWordsSomewhere;
        if (query && candidate.vectorRow) {
            const auto value = request.vectors.cosineOfRow(*candidate.vectorRow, *query);
            contender.parts.semantic = value ? semanticBonus(*value) : 0;
        }
        contenders.push_back(std::move(contender));
    }
    addAssociations(request, contenders);
    return contenders;
}

/// Pushes what similarity admitted below every memory whose title or tags hold all that was
/// typed, keeping its order.
void holdAdmittedBelowFullMatches(std::span<Contender> contenders) {
    double lowestFull = std::numeric_limits<double>::infinity();
    double highestAdmitted = 0;
    for (const Contender& contender : contenders) {
        if (contender.holdsEveryWord) lowestFull = std::min(lowestFull, contender.score);
        if (contender.isAdmitted) highestAdmitted = std::max(highestAdmitted, contender.score);
    }
    if (highestAdmitted < lowestFull) return;
    const double factor = 0.999 * lowestFull / highestAdmitted;
    for (Contender& contender : contenders) {
        if (contender.isAdmitted) contender.score *= factor;
    }
}

bool ranksBefore(const Contender& a, const Contender& b) {
    if (a.score != b.score) return a.score > b.score;
    if (a.item->createdAt != b.item->createdAt) return a.item->createdAt > b.item->createdAt;
    return a.item->id < b.item->id;
}

/// The strongest reason: the words' own unless meaning or association weighs more. That alone says
/// less of a memory than where all the words stand.
std::string hintFor(const Contender& contender) {
    const ScoreParts& parts = contender.parts;
    const double words =
        finalScore({.lexical = parts.lexical, .requestedTags = parts.requestedTags});
    if (!contender.isAdmitted && words >= parts.semantic + parts.association) {
        return contender.lexicalHint;
    }
    if (!trimmed(contender.partnerTitle).empty()) return "Related to " + contender.partnerTitle;
    if (contender.usage >= recentUseValue) return "You used this recently";
    return contender.holdsWordsSomewhere ? contender.lexicalHint : "Matched by association";
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
    std::vector<Contender> admitted;
    if (query && request.admitsBySimilarity) admitted = admittedBySimilarity(request, *query, stop);
    auto contenders = lexicalContenders(
        request, query, std::min(request.candidates.size(), deepCandidateLimit - admitted.size()));
    throwIfStopped(stop);
    contenders.insert(contenders.end(), std::make_move_iterator(admitted.begin()),
                      std::make_move_iterator(admitted.end()));
    for (Contender& contender : contenders) contender.score = finalScore(contender.parts);
    holdAdmittedBelowFullMatches(contenders);
    std::sort(contenders.begin(), contenders.end(), ranksBefore);

    DeepSearchResult result;
    result.totalCount = request.lexicalCount + admitted.size();
    for (const Contender& contender : contenders) {
        result.hits.push_back({contender.item->id, contender.score, hintFor(contender)});
    }
    throwIfStopped(stop);
    return result;
}

}  // namespace nookery
