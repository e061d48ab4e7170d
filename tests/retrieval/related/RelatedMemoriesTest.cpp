#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

#include "retrieval/RetrievalEngine.h"
#include "retrieval/related/TextSimilarity.h"

namespace nookery {
namespace {

using Words = std::vector<std::string>;

class RelatedMemories : public ::testing::Test {
  protected:
    Uuid put(CrumbItem item) {
        item.createdAt = Timestamp{1000.0 + static_cast<double>(titles_.size())};
        titles_[item.id] = item.title;
        engine_.put(std::make_shared<const CrumbItem>(item), {});
        return item.id;
    }
    Uuid putText(const std::string& title, const std::string& text, Uuid id = Uuid::random()) {
        CrumbItem item;
        item.id = id;
        item.title = title;
        item.text = text;
        return put(item);
    }
    Uuid putFile(const std::string& name, Uuid id = Uuid::random()) {
        CrumbItem item;
        item.id = id;
        item.title = name;
        item.kind = CrumbKind::file;
        item.filePath = "/library/" + name;
        return put(item);
    }
    Words titlesOf(const std::vector<Uuid>& ids) {
        Words titles;
        for (const Uuid& id : ids) titles.push_back(titles_.at(id));
        return titles;
    }

    RetrievalEngine engine_;
    std::map<Uuid, std::string> titles_;
};

constexpr const char* recipe =
    "Knead flour, water, salt and yeast; let the dough rest overnight, then bake it hot";

TEST_F(RelatedMemories, NearDuplicatesComeFirstAndShortTextsNever) {
    const Uuid first = putText("first", recipe);
    putText("reworded", std::string("Knead FLOUR, water, sält & yeast and let the dough rest ") +
                            "overnight then bake it very hot https://example.org/x");
    putText("other", "Knead the clay with water until the bubbles are out of it, then let it dry");
    putText("short", "knead flour water salt and yeast");
    const Words related = titlesOf(engine_.related(first));
    ASSERT_FALSE(related.empty());
    EXPECT_EQ(related.front(), "reworded");
    // Alike to the letter, but of fewer than 48 characters.
    const Uuid tiny = putText("tiny", "a b c d e f g h i j k l m n o p q r s t");
    putText("tiny twin", "a b c d e f g h i j k l m n o p q r s t");
    EXPECT_EQ(titlesOf(engine_.related(tiny)), Words{});
    for (int i = 0; i < 30; ++i) putText("copy " + std::to_string(i), recipe);
    EXPECT_EQ(engine_.related(first).size(), 12U);
}

TEST_F(RelatedMemories, AgreesWithComparingAllPairs) {
    // Texts of a small vocabulary, some with a few words exchanged: near the thresholds.
    std::vector<std::pair<Uuid, Words>> texts;
    std::uint32_t state = 7;
    const auto random = [&](std::uint32_t below) {
        state = state * 1664525U + 1013904223U;
        return (state >> 8) % below;
    };
    for (int i = 0; i < 120; ++i) {
        Words words = texts.empty() || i % 6 == 0 ? Words(14) : texts.back().second;
        for (std::string& word : words) {
            if (word.empty() || random(12) == 0) word = "word" + std::to_string(random(400));
        }
        std::string text;
        for (const std::string& word : words) text += word + " ";
        texts.emplace_back(putText("t" + std::to_string(i), text), words);
    }
    for (const auto& [id, words] : texts) {
        const std::set<std::string> own(words.begin(), words.end());
        const auto related = engine_.related(id);
        const auto position = [&](const Uuid& other) {
            return std::find(related.begin(), related.end(), other) - related.begin();
        };
        std::size_t duplicates = 0;
        for (const auto& [other, otherWords] : texts) {
            if (other == id) continue;
            const std::set<std::string> theirs(otherWords.begin(), otherWords.end());
            TokenCounts counts{.first = own.size(), .second = theirs.size()};
            for (const std::string& word : own) counts.shared += theirs.count(word);
            if (verdictByTokens(counts) != TokenVerdict::nearDuplicates) continue;
            ++duplicates;
            EXPECT_LT(position(other), 12) << titles_.at(id) << " misses " << titles_.at(other);
        }
        EXPECT_LE(duplicates, related.size());
    }
}

TEST_F(RelatedMemories, RareWordsMeaningAndOtherFormatsRemind) {
    const Uuid trip = putText("Lisbon trip", "tram 28 to Alfama, then pastries in Belem");
    putText("Hotel", "Belem, near the tram to Alfama");
    putText("Taxes", "forms are due in May");
    for (int i = 0; i < 60; ++i) putText("filler", "nothing in particular " + std::to_string(i));
    EXPECT_EQ(titlesOf(engine_.related(trip)), Words{"Hotel"});

    const Uuid sea = putText("sea", "q");
    const Uuid ocean = putText("ocean", "z");
    engine_.setVector(sea, std::vector<double>{1, 0.2, 0});
    engine_.setVector(ocean, std::vector<double>{1, 0, 0.2});
    EXPECT_EQ(titlesOf(engine_.related(sea)), Words{"ocean"});

    const Uuid report = putFile("Annual summary final.pdf");
    putFile("annual_summary v2.pdf");
    putFile("Annual Summary.docx");
    const Words related = titlesOf(engine_.related(report));
    EXPECT_NE(std::find(related.begin(), related.end(), "Annual Summary.docx"), related.end());
    EXPECT_EQ(std::find(related.begin(), related.end(), "annual_summary v2.pdf"), related.end())
        << "versions are listed apart";
}

TEST_F(RelatedMemories, NothingCachedOutlivesAChange) {
    const Uuid first = putText("first", recipe);
    EXPECT_EQ(engine_.related(first).size(), 0U);
    const Uuid twin = putText("twin", recipe);
    EXPECT_EQ(titlesOf(engine_.related(first)), Words{"twin"});
    putText("changed", "quite another text about something else again", twin);
    EXPECT_EQ(engine_.related(first).size(), 0U);
    engine_.setVector(first, std::vector<double>{1, 0});
    engine_.setVector(twin, std::vector<double>{1, 0});
    EXPECT_EQ(titlesOf(engine_.related(first)), Words{"changed"});
    engine_.remove(twin);
    EXPECT_EQ(engine_.related(first).size(), 0U);
    EXPECT_EQ(engine_.related(twin).size(), 0U);
}

TEST_F(RelatedMemories, VersionsFollowEveryChangeOfNames) {
    const Uuid plan = putFile("Plan (2).key");
    const Uuid other = putFile("plan.KEY");
    putFile("plan.txt");
    putFile("v1.png");
    EXPECT_EQ(titlesOf(engine_.versions(plan)), Words{"plan.KEY"});
    const Uuid third = putFile("PLAN final.key");
    EXPECT_EQ(titlesOf(engine_.versions(plan)), (Words{"PLAN final.key", "plan.KEY"}));
    putFile("menu.key", third);
    EXPECT_EQ(titlesOf(engine_.versions(plan)), Words{"plan.KEY"});
    engine_.remove(other);
    EXPECT_TRUE(engine_.versions(plan).empty());
    EXPECT_TRUE(engine_.versions(putFile("v2.png")).empty()) << "no key, no family";
}

}  // namespace
}  // namespace nookery
