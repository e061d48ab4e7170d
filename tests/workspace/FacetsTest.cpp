#include "workspace/Facets.h"

#include <gtest/gtest.h>

#include <random>

#include "retrieval/text/Hashtags.h"
#include "support/StoreChanges.h"
#include "support/TestPlatform.h"
#include "workspace/MemoryPlace.h"

namespace nookery {
namespace {

/// Counts a library from its beginning.
FacetCounts recounted(const CrumbStore& store) {
    FacetCounts counts;
    std::map<std::string, std::map<std::string, std::size_t>> spellings;
    for (const auto& item : *store.items()) {
        ++counts.total;
        ++counts.byKind[item->kind];
        if (item->groupID) ++counts.byGroup[*item->groupID];
        if (!item->groupID) ++counts.ungroupedCount;
        const CalendarDay day = localDay(item->createdAt);
        ++counts.byMonth[{day.year, day.month}];
        if (const auto place = placeOf(*item)) ++counts.byPlace[*place];
        for (const auto& tag : store.tagsOf(item->id)) ++spellings[comparableTag(tag)][tag];
    }
    for (const auto& [tag, used] : spellings) {
        TagCount& count = counts.byTag[tag];
        std::size_t most = 0;
        for (const auto& [spelling, uses] : used) {
            count.count += uses;
            if (uses > std::exchange(most, std::max(most, uses))) count.spelling = spelling;
        }
    }
    return counts;
}

class FacetsTest : public ::testing::Test {
  protected:
    FacetsTest() { open(); }

    void open() {
        facets_.reset();
        store_ = std::make_unique<CrumbStore>(world_.platform(), world_.layout(),
                                              LibraryAccess::writing);
        facets_ = std::make_unique<Facets>(world_.mainQueue, *store_);
        world_.resultOf(store_->open(SessionLength::oneCommand));
    }
    std::size_t below(std::size_t end) { return random_() % end; }
    std::string word() {
        static const std::vector<std::string> words{"#Sea", "#sea", "#SEA",  "#cake", "sea",
                                                    "#a-b", "#x#y", "#CAKE", "plain", "C#"};
        return words[below(words.size())];
    }
    void write(CrumbItem& item) {
        item.title = "memory " + word();
        item.note = word() + " " + word();
        item.kind = std::vector{CrumbKind::text, CrumbKind::url, CrumbKind::activity}[below(3)];
        if (item.kind == CrumbKind::activity) item.text = "A walk\nPlace: " + word();
        if (!groups_.empty() && below(2) == 0) item.groupID = groups_[below(groups_.size())];
    }
    void addSome() {
        CrumbItemList records;
        TagsByID tags;
        for (std::size_t i = 0; i <= below(30); ++i) {
            CrumbItem item;
            item.id = Uuid::random();
            item.createdAt = Timestamp{1.7e9 + static_cast<double>(below(200'000'000))};
            write(item);
            if (below(2) == 0) tags[item.id] = {word(), word()};
            records.push_back(std::make_shared<const CrumbItem>(item));
        }
        store_->addRecords(records, tags,
                           [](const SaveFailure& failure) { EXPECT_FALSE(failure); });
    }
    std::vector<Uuid> some(std::size_t count) {
        std::vector<Uuid> ids;
        const CrumbItemList& all = *store_->items();
        while (!all.empty() && ids.size() < count) ids.push_back(all[below(all.size())]->id);
        return ids;
    }
    void changeSomething() {
        switch (below(12)) {
            case 0:
            case 1:
                return addSome();
            case 2:
                return void(store_->remover().deleteMemories(some(1 + below(3))));
            case 3:
                std::ignore = testing::assign(*store_, some(5), groups_[below(groups_.size())]);
                return;
            case 4:
            case 5:
            case 6:
                for (const Uuid& id : some(3)) {
                    store_->memoryEdits().setManualTags(id, {word(), word()}, [](const auto&) {});
                }
                return;
            default:
                for (const Uuid& id : some(1)) {
                    CrumbItem changed = *store_->item(id);
                    write(changed);
                    // Refused where it is about to be removed.
                    std::ignore = testing::change(*store_, changed);
                }
        }
    }

    testing::TestPlatform world_{testing::Place::memory};
    std::mt19937 random_{20261121};
    std::vector<Uuid> groups_;
    std::unique_ptr<CrumbStore> store_;
    std::unique_ptr<Facets> facets_;
};

TEST_F(FacetsTest, TheyAreThoseOfTheLibraryAfterAnyChanges) {
    for (const char* name : {"Trips", "Home"}) {
        groups_.push_back(testing::addGroup(*store_, name));
    }
    for (int round = 0; round < 60; ++round) {
        for (std::size_t i = 0; i <= below(80); ++i) changeSomething();
        world_.time.settle();
        ASSERT_TRUE(facets_->isComplete());
        ASSERT_EQ(*facets_->counts(), recounted(*store_)) << "round " << round;
    }
    EXPECT_GT(facets_->counts()->total, 500U) << "there was something to count";
    EXPECT_GE(facets_->counts()->byTag.size(), 4U);
    EXPECT_GE(facets_->counts()->byPlace.size(), 4U);
    EXPECT_EQ(world_.resultOf(store_->remover().deleteGroup(groups_[0])).count, 1U);
    EXPECT_EQ(*facets_->counts(), recounted(*store_));
    open();
    world_.time.settle();
    EXPECT_EQ(*facets_->counts(), recounted(*store_));
    EXPECT_GT(facets_->counts()->total, 500U);
    world_.resultOf(store_->remover().clearLibrary());
    EXPECT_EQ(*facets_->counts(), FacetCounts());
}

TEST(MemoryPlace, IsWhatAnActivityNamesOrTheSurroundingsOfAPicture) {
    CrumbItem item;
    item.kind = CrumbKind::activity;
    item.text = "Place: of the summary\nwords\nActivity: Walk\nPlace: Old harbour, Lisbon\nTime: 9";
    EXPECT_EQ(placeOf(item), "Old harbour, Lisbon");
    item.kind = CrumbKind::text;
    EXPECT_EQ(placeOf(item), std::nullopt) << "its words are its own";
    item.kind = CrumbKind::image;
    item.searchableText = "Place 1.00000 N 1.00000 E\n__crumb_facts__\n";
    EXPECT_EQ(placeOf(item), std::nullopt) << "the words of a document";
    item.searchableText += "10 x 10 pixels\n";
    for (const auto& [fact, place] :
         std::map<std::string, std::string>{{"48.85837 N 2.29448 E", "48.9 N 2.3 E"},
                                            {"0.04000 S 179.96000 W", "0.0 S 180.0 W"},
                                            {"48 Rue de Rivoli", "48 Rue de Rivoli"},
                                            {"48.85837 N", "48.85837 N"}}) {
        CrumbItem one = item;
        one.searchableText += "Place " + fact;
        EXPECT_EQ(placeOf(one), place);
    }
}

TEST_F(FacetsTest, AreAnnouncedOnceForTheChangesOfATurnAndOnlyWhenTheyDiffer) {
    world_.time.settle();
    int announced = 0;
    const Subscription counting =
        facets_->counts().subscribe([&](const FacetCounts&) { ++announced; });
    for (int i = 0; i < 20; ++i) addSome();
    world_.time.settle();
    const int forAdding = announced;
    EXPECT_GE(forAdding, 1);
    EXPECT_LE(forAdding, 20);
    for (const Uuid& id : some(50)) {
        store_->memoryEdits().setManualTags(id, {"Many"}, [](const auto&) {});
    }
    world_.time.settle();
    EXPECT_EQ(announced, forAdding + 1);
    EXPECT_EQ(facets_->counts()->byTag.at("many").spelling, "Many");
    CrumbItem same = *store_->items()->front();
    same.text = "nothing that is counted";
    EXPECT_FALSE(testing::change(*store_, same));
    world_.time.settle();
    EXPECT_EQ(announced, forAdding + 1);
}

}  // namespace
}  // namespace nookery
