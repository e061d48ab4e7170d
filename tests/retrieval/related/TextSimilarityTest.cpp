#include "retrieval/related/TextSimilarity.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

TEST(TextSimilarity, FollowsTheTwoTests) {
    // By overlap and containment alone: 0.68 and 0.92.
    EXPECT_TRUE(areNearDuplicates({.first = 100, .second = 74, .shared = 71}, 0));
    EXPECT_EQ(verdictByTokens({.first = 100, .second = 70, .shared = 70}),
              TokenVerdict::nearDuplicates);
    EXPECT_EQ(verdictByTokens({.first = 100, .second = 60, .shared = 60}), TokenVerdict::different);
    // 0.5 * 18/22 + 0.35 * 18/20 = 0.724: the characters decide.
    const TokenCounts near{.first = 20, .second = 20, .shared = 18};
    EXPECT_EQ(verdictByTokens(near), TokenVerdict::decidedByCharacters);
    EXPECT_FALSE(areNearDuplicates(near, 0.63));
    EXPECT_TRUE(areNearDuplicates(near, 0.65));
    EXPECT_FALSE(areNearDuplicates({.first = 6, .second = 7, .shared = 5}, 1));
}

TEST(TextSimilarity, CharacterRatioCountsTheLongestCommonSubsequence) {
    EXPECT_DOUBLE_EQ(characterRatio("abcde", "abcde"), 1);
    EXPECT_DOUBLE_EQ(characterRatio("abcbdab", "bdcaba"), 2 * 4.0 / 13);
    EXPECT_DOUBLE_EQ(characterRatio("abc", "xyz"), 0);
    EXPECT_DOUBLE_EQ(characterRatio("", ""), 0);
    // Across the 64 characters that are looked at together.
    const std::string longText = std::string(63, 'a') + "bcd" + std::string(130, 'e');
    EXPECT_DOUBLE_EQ(characterRatio(longText, longText), 1);
    EXPECT_DOUBLE_EQ(characterRatio(longText, "bcd"), 2 * 3.0 / 199);
}

}  // namespace
}  // namespace nookery
