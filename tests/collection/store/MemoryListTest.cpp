#include "collection/store/MemoryList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace nookery {
namespace {

CrumbItemPointer record(const Uuid& id, double date, const std::string& title = "") {
    CrumbItem item;
    item.id = id;
    item.createdAt = Timestamp{date};
    item.title = title;
    return std::make_shared<const CrumbItem>(item);
}

/// A copy of a list that knows nothing but the changes it is told.
class Follower {
  public:
    explicit Follower(const MemoryList& list) : list_(list) {
        changes_ = list.changes().subscribe([this](const auto& change) { apply(change); });
        lists_ = list.all().subscribe([this](const auto& all) {
            EXPECT_EQ(items_, all) << "the change tells what became of the list";
        });
    }

    int changeCount = 0;

  private:
    void apply(const MemoryListChange& change) {
        ++changeCount;
        if (change.isEverything) {
            items_ = *list_.all();
            return;
        }
        for (const auto& gone : change.removed) take(gone);
        for (const auto& [before, after] : change.replaced) {
            EXPECT_EQ(before->id, after->id);
            take(before);
            put(after);
        }
        for (const auto& item : change.inserted) put(item);
    }
    void put(const CrumbItemPointer& item) {
        items_.insert(
            std::lower_bound(items_.begin(), items_.end(), item,
                             [](const auto& a, const auto& b) { return isNewer(*a, *b); }),
            item);
    }
    void take(const CrumbItemPointer& item) {
        const auto found = std::find(items_.begin(), items_.end(), item);
        ASSERT_NE(found, items_.end()) << "it was never told of this record";
        items_.erase(found);
    }

    const MemoryList& list_;
    CrumbItemList items_;
    Subscription changes_;
    Subscription lists_;
};

TEST(MemoryList, WhoFollowsTheChangesHasTheList) {
    std::mt19937 random(20261121);
    const auto below = [&](std::size_t end) { return random() % end; };
    std::vector<Uuid> ids;
    for (int i = 0; i < 60; ++i) ids.push_back(Uuid::random());
    MemoryList list;
    list.load(PreparedMemories({record(ids[0], 1), record(ids[1], 2)}));
    Follower late(list);
    Follower follower(list);
    list.load(PreparedMemories({record(ids[2], 3), record(ids[1], 2)}));
    for (int step = 0; step < 3000; ++step) {
        CrumbItemList some;
        for (std::size_t i = 0; i <= below(4); ++i) {
            some.push_back(record(ids[below(ids.size())], static_cast<double>(below(20))));
        }
        const CrumbItemPointer known = list.find(some.front()->id);
        switch (below(8)) {
            case 0:
                list.remove({some.front()->id, some.back()->id});
                break;
            case 1:
                list.announce();
                break;
            case 2:
            case 3:
            case 4:
                if (known) {
                    list.replaceQuietly(
                        record(known->id, known->createdAt.secondsSince1970, "read"));
                }
                break;
            default:
                list.add(some);
        }
        if (step % 500 == 499) list.clear();
    }
    EXPECT_GT(follower.changeCount, 1000);
}

TEST(MemoryList, NothingIsAnnouncedWhereNothingChanges) {
    MemoryList list;
    const Uuid id = Uuid::random();
    list.add(std::vector{record(id, 1)});
    Follower follower(list);
    list.announce();
    list.remove({Uuid::random()});
    EXPECT_EQ(follower.changeCount, 0);
    list.replaceQuietly(record(id, 1, "read"));
    EXPECT_EQ(list.find(id)->title, "read");
    EXPECT_EQ(list.all()->front()->title, "read");
    EXPECT_EQ(follower.changeCount, 0);
    EXPECT_TRUE(list.changes()->isEmpty());
}

}  // namespace
}  // namespace nookery
