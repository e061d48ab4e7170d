#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace nookery {

/// Whether two texts are nearly the same, by what is counted of their normal forms. Any thread.

/// A text takes part from these on: characters and tokens of its normal form.
constexpr std::size_t leastLikenessLength = 48;
constexpr std::size_t leastLikenessTokens = 7;

/// No two texts that share less of their distinct tokens (see `tokenOverlap`) are near-duplicates.
constexpr double leastTokenOverlap = 0.64;

/// The distinct tokens of two texts.
struct TokenCounts {
    std::size_t first = 0;
    std::size_t second = 0;
    std::size_t shared = 0;
};

/// Shared tokens to all tokens of both, 0 to 1.
double tokenOverlap(const TokenCounts& counts);
/// Shared tokens to those of the text that has fewer, 0 to 1.
double tokenContainment(const TokenCounts& counts);
/// Twice the longest common subsequence of characters to the lengths of both texts together, 0 to
/// 1, over the first 1,024 bytes of each.
double characterRatio(std::string_view first, std::string_view second);

enum class Likeness {
    different,
    decidedByCharacters,  ///< near-duplicates when `areNearDuplicates` says so
    nearDuplicates,
};

/// What the tokens alone tell of two texts that both take part.
Likeness likenessByTokens(const TokenCounts& counts);
/// The whole test: 0.5 overlap + 0.35 containment + 0.15 character ratio of at least 0.82 with more
/// than 6 tokens compared (those of the shorter text), or an overlap of at least 0.68 with a
/// containment of at least 0.92.
bool areNearDuplicates(const TokenCounts& counts, double characterRatio);

}  // namespace nookery
