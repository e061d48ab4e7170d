#include "retrieval/deep/Association.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace nookery {
namespace {

constexpr double leastTokenCount = 3;

struct Overlap {
    double raritySum = 0;
    std::size_t count = 0;
};

using CandidatesByToken = std::unordered_map<std::uint32_t, std::vector<std::uint32_t>>;

CandidatesByToken candidatesByToken(std::span<const AssociationCandidate> candidates) {
    CandidatesByToken holders;
    for (std::uint32_t i = 0; i < candidates.size(); ++i) {
        for (const AssociationToken& token : candidates[i].tokens)
            holders[token.token].push_back(i);
    }
    return holders;
}

}  // namespace

bool isAssociating(std::size_t memoryCount, std::size_t collectionSize) {
    return memoryCount >= 2 && memoryCount <= std::max<std::size_t>(collectionSize / 50, 10);
}

float associationRarity(std::size_t memoryCount, std::size_t collectionSize) {
    return std::log(1 + static_cast<float>(collectionSize) / static_cast<float>(memoryCount));
}

double associationSum(std::span<const AssociationToken> tokens) {
    double sum = 0;
    for (const AssociationToken& token : tokens) sum += token.rarity;
    return sum * std::max(1.0, leastTokenCount / static_cast<double>(tokens.size()));
}

std::vector<std::optional<BestPartner>> bestPartners(
    std::span<const AssociationCandidate> candidates) {
    const auto holders = candidatesByToken(candidates);
    std::vector<double> sums(candidates.size());
    std::transform(candidates.begin(), candidates.end(), sums.begin(),
                   [](const auto& candidate) { return associationSum(candidate.tokens); });
    std::vector<std::optional<BestPartner>> best(candidates.size());
    std::vector<Overlap> overlaps(candidates.size());
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        std::fill(overlaps.begin(), overlaps.end(), Overlap{});
        for (const AssociationToken& token : candidates[i].tokens) {
            for (const std::uint32_t other : holders.at(token.token)) {
                overlaps[other].raritySum += token.rarity;
                ++overlaps[other].count;
            }
        }
        for (std::size_t other = 0; other < candidates.size(); ++other) {
            if (other == i || overlaps[other].count == 0) continue;
            if (candidates[other].weight < leastPartnerWeight) continue;
            const Association association{
                .value = std::min(1.0, overlaps[other].raritySum / std::min(sums[i], sums[other])),
                .weight = candidates[other].weight,
                .overlapCount = overlaps[other].count};
            const double contribution = associationContribution(association);
            if (contribution > (best[i] ? best[i]->contribution : 0)) {
                best[i] = BestPartner{other, association, contribution};
            }
        }
    }
    return best;
}

}  // namespace nookery
