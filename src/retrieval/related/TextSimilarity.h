#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace nookery {

/// The test for near-duplicate texts, on counts over their normal forms. Any thread.

/// A text with fewer characters or tokens in its normal form is never a near-duplicate.
constexpr std::size_t leastComparedLength = 48;
constexpr std::size_t leastComparedTokens = 7;

/// Two texts with less `tokenOverlap` are never near-duplicates.
constexpr double leastTokenOverlap = 0.64;

/// How many distinct tokens two texts have.
struct TokenCounts {
    std::size_t first = 0;
    std::size_t second = 0;
    std::size_t shared = 0;
};

/// Jaccard similarity: shared tokens over the distinct tokens of both texts, 0 to 1.
double tokenOverlap(const TokenCounts& counts);
/// Overlap coefficient: shared tokens over those of the text that has fewer, 0 to 1.
double tokenContainment(const TokenCounts& counts);
/// Twice the length of the longest common subsequence over the lengths of both texts together, 0 to
/// 1, in bytes. Compares the first 1,024 bytes of each.
double characterRatio(std::string_view first, std::string_view second);

enum class TokenVerdict {
    different,
    decidedByCharacters,  ///< `areNearDuplicates` decides, by the characters
    nearDuplicates,
};

/// What the tokens alone decide about two texts that are both long enough.
TokenVerdict verdictByTokens(const TokenCounts& counts);
/// The whole test. Two texts are near-duplicates when 0.5 overlap + 0.35 containment + 0.15
/// character ratio is at least 0.82 and the shorter text has more than 6 tokens, or when the
/// overlap is at least 0.68 and the containment at least 0.92.
bool areNearDuplicates(const TokenCounts& counts, double characterRatio);

}  // namespace nookery
