#include "retrieval/related/TextSimilarity.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace nookery {
namespace {

constexpr double leastCombined = 0.82;
constexpr double overlapWeight = 0.5;
constexpr double containmentWeight = 0.35;
constexpr double characterWeight = 0.15;
constexpr double strongOverlap = 0.68;
constexpr double strongContainment = 0.92;

// `leastTokenOverlap` must not exclude what either test would accept.
static_assert(overlapWeight * leastTokenOverlap + containmentWeight + characterWeight <=
              leastCombined + 1e-9);
static_assert(leastTokenOverlap <= strongOverlap);

constexpr std::size_t comparedByteCount = 1024;
constexpr std::size_t wordBits = 64;
using Row = std::array<std::uint64_t, comparedByteCount / wordBits>;

/// The length of the longest common subsequence, by the bit-parallel method of Crochemore and
/// others (2001): 64 characters of the first text at a time. A 0 in `row` stands for a character
/// that lengthens the subsequence.
std::size_t commonLength(std::string_view first, std::string_view second) {
    std::array<Row, 256> places{};
    for (std::size_t i = 0; i < first.size(); ++i) {
        places[static_cast<unsigned char>(first[i])][i / wordBits] |= std::uint64_t{1}
                                                                      << i % wordBits;
    }
    Row row;
    row.fill(~std::uint64_t{0});
    const std::size_t wordCount = (first.size() + wordBits - 1) / wordBits;
    for (const char character : second) {
        const Row& matches = places[static_cast<unsigned char>(character)];
        unsigned long carry = 0;
        for (std::size_t word = 0; word < wordCount; ++word) {
            const std::uint64_t matched = row[word] & matches[word];
            std::uint64_t sum = 0;
            const bool overflow = __builtin_add_overflow(row[word], matched, &sum);
            const bool carried = __builtin_add_overflow(sum, carry, &sum);
            carry = overflow || carried ? 1 : 0;
            row[word] = sum | (row[word] & ~matches[word]);
        }
    }
    std::size_t length = 0;
    for (std::size_t word = 0; word < wordCount; ++word) {
        const std::size_t rest = first.size() - word * wordBits;
        const std::uint64_t used =
            rest >= wordBits ? ~std::uint64_t{0} : (std::uint64_t{1} << rest) - 1;
        length += static_cast<std::size_t>(std::popcount(~row[word] & used));
    }
    return length;
}

double share(std::size_t part, std::size_t whole) {
    return whole == 0 ? 0 : static_cast<double>(part) / static_cast<double>(whole);
}

double combined(const TokenCounts& counts, double characters) {
    return overlapWeight * tokenOverlap(counts) + containmentWeight * tokenContainment(counts) +
           characterWeight * characters;
}

bool areNearDuplicatesByTokens(const TokenCounts& counts) {
    return tokenOverlap(counts) >= strongOverlap && tokenContainment(counts) >= strongContainment;
}

}  // namespace

double tokenOverlap(const TokenCounts& counts) {
    return share(counts.shared, counts.first + counts.second - counts.shared);
}

double tokenContainment(const TokenCounts& counts) {
    return share(counts.shared, std::min(counts.first, counts.second));
}

double characterRatio(std::string_view first, std::string_view second) {
    first = first.substr(0, comparedByteCount);
    second = second.substr(0, comparedByteCount);
    return share(2 * commonLength(first, second), first.size() + second.size());
}

bool areNearDuplicates(const TokenCounts& counts, double characterRatio) {
    if (areNearDuplicatesByTokens(counts)) return true;
    return std::min(counts.first, counts.second) >= leastComparedTokens &&
           combined(counts, characterRatio) >= leastCombined;
}

TokenVerdict verdictByTokens(const TokenCounts& counts) {
    if (areNearDuplicates(counts, 0)) return TokenVerdict::nearDuplicates;
    return areNearDuplicates(counts, 1) ? TokenVerdict::decidedByCharacters
                                        : TokenVerdict::different;
}

}  // namespace nookery
