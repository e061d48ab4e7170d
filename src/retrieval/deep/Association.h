#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "retrieval/deep/DeepScore.h"

namespace nookery {

/// A token by which two memories can be associated, and how rare it is.
struct AssociationToken {
    std::uint32_t token = 0;
    float rarity = 0;  ///< above 0; the same in every memory
};

/// One of the memories among which `bestPartners` looks for partners.
struct AssociationCandidate {
    /// The memory's association tokens, each once, in any order.
    std::vector<AssociationToken> tokens;
    double weight = 0;  ///< 0 to 1: how well the memory matches the query
};

/// A candidate's best partner, as an index into the candidates.
struct BestPartner {
    std::size_t partner = 0;
    Association association;
    double contribution = 0;  ///< what the association adds to the score, above 0
};

/// Whether a token that `memoryCount` of `collectionSize` memories hold associates them: at least 2
/// must hold it, and at most 10 or 2% of the collection, whichever is more.
bool isAssociating(std::size_t memoryCount, std::size_t collectionSize);

/// How rare such a token is: ln(1 + collectionSize / memoryCount).
float associationRarity(std::size_t memoryCount, std::size_t collectionSize);

/// The sum of the tokens' rarity, to which the rarity that two memories share is compared. One or
/// two tokens say little: they are counted as if they were three.
double associationSum(std::span<const AssociationToken> tokens);

/// The least weight of a partner. A memory that matches the query less well may be a hit by chance.
constexpr double leastPartnerWeight = 0.5;

/// For each candidate the partner that contributes most; of equal ones, the first. The time grows
/// with the number of pairs that share a token, not of all pairs.
std::vector<std::optional<BestPartner>> bestPartners(
    std::span<const AssociationCandidate> candidates);

}  // namespace nookery
