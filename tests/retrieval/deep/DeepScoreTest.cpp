#include "retrieval/deep/DeepScore.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

constexpr double day = 86400;
constexpr Timestamp now{1.7e9};

Timestamp daysAgo(double days) { return {now.secondsSince1970 - days * day}; }

TEST(DeepScore, aCosineEarnsByTheStepItReaches) {
    EXPECT_EQ(semanticBonus(0.2399), 0);
    EXPECT_DOUBLE_EQ(semanticBonus(0.24), 4.5 * 0.24);
    EXPECT_DOUBLE_EQ(semanticBonus(0.3199), 4.5 * 0.3199);
    EXPECT_DOUBLE_EQ(semanticBonus(0.32), 9.0 * 0.32);
    EXPECT_DOUBLE_EQ(semanticBonus(0.46), 15.0 * 0.46);
    EXPECT_EQ(semanticBonus(-0.9), 0);
}

TEST(DeepScore, ageAndUseFadeInTheSameSteps) {
    struct Case {
        double days, age, usage;
    };
    for (const Case& expected :
         {Case{-3, 0.28, 0.55}, Case{0.999, 0.28, 0.55}, Case{1, 0.2072, 0.407},
          Case{6.999, 0.2072, 0.407}, Case{7, 0.1344, 0.264}, Case{30, 0.0672, 0.132},
          Case{120, 0.0224, 0.044}, Case{9000, 0.0224, 0.044}}) {
        EXPECT_EQ(ageBonus(daysAgo(expected.days), now), expected.age) << expected.days;
        EXPECT_EQ(usageBonus({1, daysAgo(expected.days)}, now), expected.usage) << expected.days;
    }
    EXPECT_EQ(usageBonus({0, now}, now), 0);
}

TEST(DeepScore, useCountsAsRecentOnlyWhenItIsOftenAndFresh) {
    EXPECT_NEAR(usageValue({1, now}, now), 1.0 / 3, 1e-12);
    EXPECT_LT(usageValue({2, now}, now), recentUseValue);
    EXPECT_GE(usageValue({3, now}, now), recentUseValue);
    EXPECT_EQ(usageValue({4, now}, now), 1);
    EXPECT_EQ(usageValue({100000, now}, now), 1);
    EXPECT_LT(usageValue({4, daysAgo(2)}, now), recentUseValue);
    EXPECT_EQ(usageValue({0, now}, now), 0);
}

TEST(DeepScore, anAssociationCountsFromItsLeastValueOn) {
    EXPECT_EQ(associationContribution({.value = 0.3599, .weight = 1, .overlapCount = 18}), 0);
    EXPECT_DOUBLE_EQ(associationContribution({.value = 0.36, .weight = 0, .overlapCount = 18}),
                     1.5 * 0.36);
    EXPECT_DOUBLE_EQ(associationContribution({.value = 0.5, .weight = 0.5, .overlapCount = 9}),
                     (1.25 * 0.5 + 1.5 * 0.5) / 2);
    EXPECT_DOUBLE_EQ(associationContribution({.value = 1, .weight = 1, .overlapCount = 999}), 2.75);
}

TEST(DeepScore, partsAreBlendedInTheirProportions) {
    EXPECT_DOUBLE_EQ(
        finalScore(
            {.lexical = 10, .age = 0.28, .usage = 0.55, .semantic = 7.5, .association = 2.2}),
        0.9 * (7.2 + 0.28) + 0.55 + 7.5 + 2.2);
    const ScoreParts greatest{
        .age = 0.28, .usage = 0.55, .semantic = 15, .association = 2.75 + 2.2};
    EXPECT_GT(finalScore({.requestedTags = 1}), finalScore(greatest));
}

}  // namespace
}  // namespace nookery
