#include "collection/store/SearchSession.h"

#include <gtest/gtest.h>

#include "collection/store/LibraryContents.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

class SearchSessionTest : public ::testing::Test {
  protected:
    CrumbItem put(CrumbItem item) {
        if (item.id == Uuid()) {
            item.id = Uuid::random();
            item.createdAt = Timestamp{1000.0 + static_cast<double>(contents_.memories.size())};
        }
        const auto record = std::make_shared<const CrumbItem>(item);
        contents_.memories.add(std::span(&record, 1));
        contents_.retrieval->put(record, {});
        announce();
        return item;
    }
    CrumbItem add(const std::string& title, const std::string& text = "") {
        CrumbItem item;
        item.title = title;
        item.text = text;
        item.searchableText = text;
        return put(item);
    }
    void remove(const Uuid& id) {
        contents_.memories.remove({id});
        contents_.retrieval->remove(id);
        announce();
    }
    void announce() { contents_.revision.set(*contents_.revision + 1); }

    std::vector<std::string> shown(const SearchSession& session) {
        std::vector<std::string> titles;
        for (const SearchHit& hit : (*session.result())->hits) titles.push_back(hit.item->title);
        return titles;
    }
    /// Counts what the main session publishes.
    Subscription countPublications() {
        publications_ = 0;
        return session_.result().subscribe([this](const auto&) { ++publications_; });
    }

    testing::TestPlatform world_;
    LibraryContents contents_{world_.platform(), world_.layout(), LibraryAccess::reading};
    SearchSession session_{contents_};
    int publications_ = 0;
};

using Titles = std::vector<std::string>;

TEST_F(SearchSessionTest, EachViewHasItsOwnTextAndAResultStaysAsItWas) {
    add("red boat");
    add("blue boat");
    SearchSession quick(contents_);
    session_.setText("red");
    quick.setText("boat", 1);
    world_.time.settle();
    EXPECT_EQ(shown(session_), Titles{"red boat"});
    EXPECT_EQ(shown(quick), Titles{"blue boat"}) << "it shows one";
    EXPECT_EQ((*quick.result())->totalCount, 2U);
    const SearchResultPointer held = *session_.result();
    add("red car");
    world_.time.settle();
    EXPECT_EQ(shown(session_).size(), 2U);
    EXPECT_EQ(held->hits.size(), 1U);
    // One that goes away in the middle of its search is not called back.
    auto late = std::make_unique<SearchSession>(contents_);
    late->setText("boat");
    late.reset();
    world_.time.settle();
}

TEST_F(SearchSessionTest, AChangeIsPublishedOnlyWhenItShows) {
    CrumbItem boat = add("red boat");
    session_.setText("red");
    world_.time.settle();
    const Subscription counting = countPublications();
    add("a blue car");
    world_.time.settle();
    EXPECT_EQ(publications_, 0) << "nothing of it is shown";
    boat.note = "sold";
    put(boat);
    world_.time.settle();
    EXPECT_EQ(publications_, 1) << "the same order, of a record that has changed";
    EXPECT_EQ((*session_.result())->hits.front().item->note, "sold");
    for (const char* title : {"red one", "red two", "red three"}) add(title);
    world_.time.settle();
    EXPECT_EQ(publications_, 2) << "the changes of one turn are one";
    EXPECT_EQ(shown(session_).size(), 4U);
    session_.setText("");
    world_.time.settle();
    add("newest");
    world_.time.settle();
    EXPECT_EQ(shown(session_).front(), "newest");
    EXPECT_EQ(publications_, 4);
}

TEST_F(SearchSessionTest, ChangesDuringASearchNeitherDelayItNorGetLost) {
    const CrumbItem first = add("red boat", "a red boat");
    add("red car", "a red car");
    add("red cup", "a red cup");
    world_.time.settle();
    session_.wantExcerpts(3);
    session_.setText("red");
    EXPECT_EQ(shown(session_), (Titles{"red cup", "red car", "red boat"}));
    const Uuid second = (*session_.result())->hits[1].item->id;
    int finals = 0;
    const Subscription counting = session_.result().subscribe([&](const auto& result) {
        // Whatever is shown at any time, each excerpt is that of its own hit.
        ASSERT_EQ(result->excerpts.size(), result->isFinal ? result->hits.size() : 0U);
        for (std::size_t i = 0; i < result->excerpts.size(); ++i) {
            EXPECT_EQ(result->excerpts[i].text, "a " + result->hits[i].item->title);
        }
        if (result->isFinal) ++finals;
    });
    remove(second);
    world_.time.settle();
    EXPECT_EQ(shown(session_), (Titles{"red cup", "red boat"}));
    EXPECT_EQ((*session_.result())->totalCount, 2U);
    remove(first.id);
    session_.setText("cup");
    world_.time.settle();
    EXPECT_EQ(shown(session_), Titles{"red cup"});
    EXPECT_LE(finals, 3);
}

TEST_F(SearchSessionTest, ExcerptsMarkMatchesAndAreMadeForAsManyAsAreShown) {
    for (int i = 0; i < 5; ++i) add("x", "Wir sahen  Häfen, häfen");
    const auto excerptCount = [&] {
        world_.time.settle();
        return (*session_.result())->excerpts.size();
    };
    session_.setText("hafen");
    EXPECT_EQ(excerptCount(), 0U);
    session_.wantExcerpts(2);
    EXPECT_EQ(excerptCount(), 2U);
    const Excerpt excerpt = (*session_.result())->excerpts.front();
    EXPECT_EQ(excerpt.text, "Wir sahen Häfen, häfen");
    ASSERT_EQ(excerpt.matches.size(), 2U);
    for (const TextRange& match : excerpt.matches) {
        const std::string word = excerpt.text.substr(match.start, match.length);
        EXPECT_TRUE(word == "Häfen" || word == "häfen") << word;
    }
    const Subscription counting = countPublications();
    session_.wantExcerpts(9);
    EXPECT_EQ(excerptCount(), 5U);
    EXPECT_EQ(publications_, 1);
    session_.setText("hafen", 4, SearchDepth::lexical);
    EXPECT_FALSE((*session_.result())->isFinal);
    EXPECT_EQ(excerptCount(), 4U);
    session_.setText("", 3);
    EXPECT_EQ(excerptCount(), 3U) << "the beginnings of what is browsed";
}

}  // namespace
}  // namespace nookery
