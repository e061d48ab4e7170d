#include "retrieval/deep/Association.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

AssociationCandidate candidate(std::vector<std::uint32_t> tokens, double weight = 1) {
    AssociationCandidate result{.tokens = {}, .weight = weight};
    for (const auto token : tokens) result.tokens.push_back({token, token < 100 ? 4.0F : 1.0F});
    return result;
}

TEST(Association, tokensConnectWhenTheyAreHeldByTwoAndNotByMany) {
    EXPECT_FALSE(isAssociating(1, 100));
    EXPECT_TRUE(isAssociating(2, 100));
    EXPECT_TRUE(isAssociating(10, 100));
    EXPECT_FALSE(isAssociating(11, 100));
    EXPECT_TRUE(isAssociating(200, 10000));
    EXPECT_FALSE(isAssociating(201, 10000));
    EXPECT_GT(associationRarity(2, 1000), associationRarity(20, 1000));
}

TEST(Association, theValueIsTheSharedRarityOverTheSmallerMemory) {
    // Shares the rare 1 and 2 (4 each) and the common 101; the smaller one's sum is 4 + 4 + 1 + 4.
    const std::vector<AssociationCandidate> both{candidate({1, 2, 101, 3, 4, 5}),
                                                 candidate({1, 2, 101, 9}, 0.5)};
    const auto best = bestPartners(both);
    ASSERT_TRUE(best[0]);
    EXPECT_EQ(best[0]->partner, 1U);
    EXPECT_DOUBLE_EQ(best[0]->association.value, 9.0 / 13);
    EXPECT_EQ(best[0]->association.overlapCount, 3U);
    EXPECT_EQ(best[0]->association.weight, 0.5);
    EXPECT_DOUBLE_EQ(best[0]->contribution, (1.25 * 0.5 + 1.5 * 9 / 13) * 3 / 18);
    EXPECT_EQ(best[1]->association.weight, 1);
}

TEST(Association, thePartnerThatContributesMostWins) {
    const std::vector<AssociationCandidate> three{
        candidate({1, 2, 3, 4}, 0.4), candidate({1, 2, 3, 4}, 0.6), candidate({1, 2, 3, 4, 5}, 1)};
    const auto best = bestPartners(three);
    EXPECT_EQ(best[0]->partner, 2U);
    EXPECT_EQ(best[2]->partner, 1U) << "the first hardly matches the query itself";
}

TEST(Association, oneSharedTokenMakesNoPartners) {
    const std::vector<AssociationCandidate> two{candidate({1}), candidate({1})};
    EXPECT_FALSE(bestPartners(two)[0]);
    const std::vector<AssociationCandidate> apart{candidate({1, 2, 3}), candidate({}),
                                                  candidate({4, 5, 6})};
    for (const auto& best : bestPartners(apart)) EXPECT_FALSE(best);
}

}  // namespace
}  // namespace nookery
