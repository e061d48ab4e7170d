#include <gtest/gtest.h>

#include "retrieval/RetrievalEngine.h"
#include "retrieval/deep/CandidateRetrieval.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

constexpr Timestamp now{1.7e9};

/// A whole engine, with the tests' embedder.
class DeepStageTest : public ::testing::Test {
  protected:
    Uuid add(const std::string& title, const std::string& text = "", const std::string& note = "") {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = title;
        item.text = text;
        item.note = note;
        item.createdAt = {now.secondsSince1970 - 1e8};
        engine_.put(std::make_shared<const CrumbItem>(item), {});
        return item.id;
    }
    void embed(const Uuid& id, const std::string& text) {
        const auto vector = embedder_.embedMemory(text);
        engine_.setVector(id, std::vector<double>(vector->begin(), vector->end()));
    }
    std::vector<RankedHit> find(const std::string& text) const {
        const auto request = engine_.prepareDeepSearch(engine_.search(text, 240), {}, now);
        return RetrievalEngine::deepSearch(*request, &embedder_, {}).hits;
    }

    testing::FakeEmbedder embedder_;
    RetrievalEngine engine_;
};

TEST_F(DeepStageTest, aTagAskedForStandsAboveTheSameWordInATitleWhateverItMeans) {
    const auto title = add("Garden garden garden", "ship");
    const auto tagged = add("Something else", "", "#summer");
    embed(title, "garden");
    const auto hits = find("#summer garden");
    ASSERT_EQ(hits.size(), 2U);
    EXPECT_EQ(hits[0].id, tagged);
    EXPECT_EQ(hits[0].hint, "Matched #summer");
}

TEST_F(DeepStageTest, aPureTagQueryGivesExactlyTheTagged) {
    const auto tagged = add("Something", "", "#garden");
    const auto alike = add("Ship");
    embed(tagged, "garden");
    embed(alike, "garden");
    const auto hits = find("#garden");
    ASSERT_EQ(hits.size(), 1U);
    EXPECT_EQ(hits[0].id, tagged);
}

TEST_F(DeepStageTest, aTitleOrTagsWithEveryWordStandAboveWhatOnlyMeaningFound) {
    const auto titled = add("The old garden shed");
    const auto byTags = add("Ideas", "", "#garden #shed");
    const auto alike = add("A vessel in its hut");
    embed(alike, "garden");
    const auto hits = find("garden shed");
    ASSERT_EQ(hits.size(), 3U);
    EXPECT_EQ(hits[2].id, alike);
    EXPECT_EQ(hits[2].hint, "Matched by association");
    EXPECT_TRUE((hits[0].id == titled && hits[1].id == byTags) ||
                (hits[0].id == byTags && hits[1].id == titled));
}

TEST_F(DeepStageTest, meaningIsSoughtWhenFewMemoriesHoldMostOfTheWords) {
    for (int i = 0; i < 40; ++i) add("Kettle " + std::to_string(i), "steam");
    for (int i = 0; i < 900; ++i) add("Filler " + std::to_string(i), "nothing");
    const auto alike = add("A vessel");
    embed(alike, "garden");
    const auto isFound = [&](const std::string& text) {
        const auto hits = find(text);
        return std::any_of(hits.begin(), hits.end(),
                           [&](const RankedHit& hit) { return hit.id == alike; });
    };
    EXPECT_TRUE(isFound("kettle garden rigging")) << "40 memories hold one of three words";
    EXPECT_FALSE(isFound("kettle garden steam")) << "40 memories hold two of three words";
}

TEST_F(DeepStageTest, aWordTypedWronglyStillMeansWhatItStandsFor) {
    add("Garden");
    const auto alike = add("A vessel");
    embed(alike, "garden");
    const auto hits = find("gardrn");
    ASSERT_EQ(hits.size(), 2U);
    EXPECT_EQ(hits[1].id, alike);
}

TEST_F(DeepStageTest, memoriesOfOneSubjectRaiseEachOther) {
    const std::string subject =
        "halyard shackle keelson rigging bilge mooring spinnaker topsail anchor capstan "
        "gunwale transom bowsprit jibboom lanyard mizzen stanchion thwart";
    add("Refit of the Marguerite", subject + " invoice");
    add("Spring list", subject + " invoice");
    const auto alone = add("Telephone", "invoice of the year, to be paid in three parts");
    for (int i = 0; i < 5; ++i) add("Other " + std::to_string(i), "nothing shared");
    EXPECT_EQ(engine_.search("invoice", 240).rankedIDs.front(), alone);
    const auto hits = find("invoice");
    ASSERT_EQ(hits.size(), 3U);
    EXPECT_EQ(hits.back().id, alone);
}

TEST(CandidateRetrieval, associationTokensAreLongEnoughAndNeitherUniqueNorCommon) {
    LexicalIndex index;
    const auto put = [&](const std::string& text) {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = text;
        index.put(std::make_shared<const CrumbItem>(item), {});
        return *index.ordinalOf(item.id);
    };
    const auto first = put("shared unique cup everywhere shared");
    put("shared cup everywhere");
    for (int i = 0; i < 12; ++i) put("everywhere");
    const auto tokens = associationTokens(index, first);
    ASSERT_EQ(tokens.size(), 1U);
    EXPECT_EQ(index.vocabulary().text(tokens[0].token), "shared");
}

}  // namespace
}  // namespace nookery
