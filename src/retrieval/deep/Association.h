#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "retrieval/deep/DeepScore.h"

namespace nookery {

/// A token that can connect two memories, and how rare it is.
struct AssociationToken {
    std::uint32_t token = 0;
    float rarity = 0;  ///< above 0; the same for a token wherever it stands
};

/// A memory among those in which partners are looked for.
struct AssociationCandidate {
    /// The memory's association tokens, each once, in any order.
    std::vector<AssociationToken> tokens;
    double weight = 0;  ///< 0 to 1: the query's own match on the memory
};

/// A candidate's best partner, as an index into the candidates.
struct BestPartner {
    std::size_t partner = 0;
    Association association;
    double contribution = 0;  ///< what the association adds to the score, above 0
};

/// Whether a token held by `memoryCount` of `collectionSize` memories connects those that hold it:
/// at least 2 must, and at most 2% of the collection or 10, whichever is more.
bool isAssociating(std::size_t memoryCount, std::size_t collectionSize);

/// How rare such a token is: the logarithm of how many memories there are to one that holds it.
float associationRarity(std::size_t memoryCount, std::size_t collectionSize);

/// The rarity of a memory's tokens together: what the rarity that two memories share is held
/// against. A memory of one or two tokens, which say little, is weighed as if it held three.
double associationSum(std::span<const AssociationToken> tokens);

/// A memory that matches the query less well is nobody's partner: it may have come by chance
/// itself.
constexpr double leastPartnerWeight = 0.5;

/// For each candidate, the partner that contributes most (the earlier one, when two contribute
/// the same). Takes time in proportion to the pairs that share a token, not to all pairs.
std::vector<std::optional<BestPartner>> bestPartners(
    std::span<const AssociationCandidate> candidates);

}  // namespace nookery
