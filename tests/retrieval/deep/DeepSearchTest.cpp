#include "retrieval/deep/DeepSearch.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "foundation/Error.h"

namespace nookery {
namespace {

constexpr Timestamp now{1.7e9};
constexpr double year = 365 * 86400.0;

/// Takes every query for the direction (1, 0, 0, 0).
class OneDirection : public TextEmbedder {
  public:
    std::string modelName() const override { return "one direction"; }
    std::size_t dimension() const override { return 4; }
    std::optional<std::vector<float>> embedMemory(std::string_view) const override { return {}; }
    std::optional<std::vector<float>> embedQuery(std::string_view) const override {
        if (whileEmbedding != nullptr) whileEmbedding->request_stop();
        return std::vector<float>{1, 0, 0, 0};
    }

    std::stop_source* whileEmbedding = nullptr;
};

class DeepSearchTest : public testing::Test {
  protected:
    static CrumbItemPointer memory(const std::string& title, double age = year) {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = title;
        item.createdAt = {now.secondsSince1970 - age};
        return std::make_shared<const CrumbItem>(item);
    }

    DeepSearchTest() {
        request_.words = "anything";
        request_.now = now;
    }

    /// A memory without a lexical hit.
    void addMeaning(const CrumbItemPointer& item, double cosine) {
        matrix_.set(item, std::vector<double>{cosine, std::sqrt(1 - cosine * cosine), 0, 0});
    }
    DeepCandidate& addHit(const CrumbItemPointer& item, double score) {
        request_.candidates.push_back({.item = item,
                                       .lexicalScore = score,
                                       .hint = "Matched title",
                                       .requestedTagCount = 0,
                                       .holdsEveryWord = false,
                                       .holdsWordsSomewhere = false,
                                       .associationTokens = {},
                                       .vectorRow = {}});
        return request_.candidates.back();
    }
    void use(const CrumbItemPointer& item, int count) { request_.usage[item->id] = {count, now}; }

    DeepSearchResult run(std::stop_token stop = {}) {
        request_.lexicalCount = request_.candidates.size();
        request_.vectors = matrix_.view();
        for (auto& candidate : request_.candidates) {
            candidate.vectorRow = matrix_.rowOf(candidate.item->id);
        }
        return runDeepSearch(request_, &embedder_, stop);
    }
    /// The position of a memory in a result, and its hint.
    static std::pair<std::size_t, std::string> found(const DeepSearchResult& result,
                                                     const CrumbItemPointer& item) {
        for (std::size_t i = 0; i < result.hits.size(); ++i) {
            if (result.hits[i].id == item->id) return {i, result.hits[i].hint};
        }
        return {result.hits.size(), "not found"};
    }

    static std::vector<AssociationToken> tokens(std::uint32_t first, std::uint32_t count) {
        std::vector<AssociationToken> result;
        for (std::uint32_t i = 0; i < count; ++i) result.push_back({first + i, 3});
        return result;
    }

    OneDirection embedder_;
    VectorMatrix matrix_;
    DeepSearchRequest request_;
};

TEST_F(DeepSearchTest, admitsByMeaningOnlyWhenWordsFoundLittle) {
    const auto alike = memory("alike");
    const auto unlike = memory("unlike");
    const auto hit = memory("hit");
    addMeaning(alike, 0.5);
    addMeaning(unlike, 0.2);
    addHit(hit, 14);
    EXPECT_EQ(run().hits.size(), 1U);
    request_.admitsBySimilarity = true;
    const auto result = run();
    EXPECT_EQ(result.totalCount, 2U);
    EXPECT_EQ(found(result, hit), std::pair(std::size_t{0}, std::string("Matched title")));
    EXPECT_EQ(found(result, alike),
              std::pair(std::size_t{1}, std::string("Matched by association")));
    EXPECT_NEAR(result.hits[1].score, 15 * 0.5 + 0.9 * 0.0224, 1e-6);
    request_.words.clear();
    EXPECT_EQ(run().hits.size(), 1U) << "a pure tag query is not widened";
}

TEST_F(DeepSearchTest, admitsTheMostAlikeAndNoMoreThanItsBound) {
    request_.admitsBySimilarity = true;
    const auto best = memory("best");
    addMeaning(best, 0.9);
    for (int i = 0; i < 60; ++i) addMeaning(memory("other"), 0.5);
    for (int i = 0; i < 500; ++i) addHit(memory("hit"), 5);
    const auto result = run();
    EXPECT_EQ(result.hits.size(), deepCandidateLimit);
    EXPECT_EQ(found(result, best).first, 0U);
    EXPECT_EQ(result.totalCount, 500 + similarityAdmissionLimit);
}

TEST_F(DeepSearchTest, whatHoldsEveryWordStaysAboveWhatOnlyMeaningFound) {
    request_.admitsBySimilarity = true;
    const auto near = memory("near");
    const auto nearer = memory("nearer");
    const auto full = memory("full");
    const auto partial = memory("partial");
    addMeaning(near, 0.9);
    addMeaning(nearer, 0.99);
    addHit(full, 8).holdsEveryWord = true;
    addHit(partial, 3);
    const auto result = run();
    EXPECT_EQ(found(result, full).first, 0U);
    EXPECT_EQ(found(result, nearer).first, 1U);
    EXPECT_EQ(found(result, near).first, 2U);
    EXPECT_EQ(found(result, partial).first, 3U);
}

TEST_F(DeepSearchTest, anEmptyVectorOnlyLosesTheBonus) {
    const auto zero = memory("zero");
    const auto alike = memory("alike");
    matrix_.set(zero, std::vector<double>{0, 0, 0, 0});
    addMeaning(alike, 0.3);
    addHit(zero, 10);
    addHit(alike, 10);
    const auto result = run();
    EXPECT_DOUBLE_EQ(result.hits[1].score, 0.9 * (7.2 + 0.0224));
    EXPECT_NEAR(result.hits[0].score - result.hits[1].score, 4.5 * 0.3, 1e-6);
}

TEST_F(DeepSearchTest, aHitWithAllWordsKeepsItsLexicalHint) {
    const auto inside = memory("parse_args");
    const auto parts = memory("parser");
    for (const auto& item : {inside, parts}) {
        addMeaning(item, 0.9);
        addHit(item, 3).vectorRow = matrix_.rowOf(item->id);
    }
    request_.candidates[0].holdsWordsSomewhere = true;
    const auto result = run();
    EXPECT_EQ(found(result, inside).second, "Matched title");
    EXPECT_EQ(found(result, parts).second, "Matched by association");
}

TEST_F(DeepSearchTest, recentUseIsNamedOnlyForWhatIsUsedOften) {
    request_.admitsBySimilarity = true;
    const auto once = memory("once");
    const auto often = memory("often");
    const auto matched = memory("matched");
    for (const auto& item : {once, often}) addMeaning(item, 0.5);
    addHit(matched, 20);
    use(once, 1);
    use(often, 5);
    use(matched, 5);
    const auto result = run();
    EXPECT_EQ(found(result, once).second, "Matched by association");
    EXPECT_EQ(found(result, often).second, "You used this recently");
    EXPECT_EQ(found(result, matched).second, "Matched title");
}

TEST_F(DeepSearchTest, aClosePartnerRaisesAndIsNamed) {
    const auto invoice = memory("Boat invoice");
    const auto passage = memory("Passage plan");
    const auto other = memory("Other");
    addHit(invoice, 15).associationTokens = tokens(1, 20);
    addHit(other, 3).associationTokens = tokens(100, 20);
    addHit(passage, 2).associationTokens = tokens(1, 20);
    const auto result = run();
    EXPECT_EQ(found(result, passage).second, "Related to Boat invoice");
    EXPECT_EQ(found(result, passage).first, 1U);
    EXPECT_NEAR(result.hits[1].score, 0.9 * (0.72 * 2 + 0.0224) + 1.25 + 1.5 + 2.2, 1e-9);
    EXPECT_EQ(found(result, invoice).second, "Matched title");
}

TEST_F(DeepSearchTest, equalScoresStandNewestFirstThenById) {
    auto one = memory("same age");
    auto two = memory("same age");
    if (two->id < one->id) std::swap(one, two);
    const auto newer = memory("newer", year - 1);
    for (const auto& item : {two, one, newer}) addHit(item, 5);
    const auto result = run();
    EXPECT_EQ(found(result, newer).first, 0U);
    EXPECT_EQ(found(result, one).first, 1U);
    EXPECT_EQ(found(result, two).first, 2U);
}

TEST_F(DeepSearchTest, aCancelledSearchGivesNothing) {
    addHit(memory("hit"), 5);
    addMeaning(memory("alike"), 0.5);
    std::stop_source before;
    before.request_stop();
    EXPECT_THROW(run(before.get_token()), Cancelled);
    std::stop_source meanwhile;
    embedder_.whileEmbedding = &meanwhile;
    EXPECT_THROW(run(meanwhile.get_token()), Cancelled);
}

TEST_F(DeepSearchTest, withoutAnEmbedderWordsStillRank) {
    const auto hit = memory("hit");
    addHit(hit, 5);
    addMeaning(hit, 0.9);
    request_.vectors = matrix_.view();
    const auto result = runDeepSearch(request_, nullptr, {});
    ASSERT_EQ(result.hits.size(), 1U);
    EXPECT_NEAR(result.hits[0].score, 0.9 * (3.6 + 0.0224), 1e-12);
}

}  // namespace
}  // namespace nookery
