#include "collection/store/CrumbStore.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "collection/database/LibraryLock.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "platform/work/Caller.h"
#include "records/DefaultsKeys.h"
#include "support/StoreChanges.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

using testing::TestPlatform;

/// A library that can be closed and opened again in the same world.
class CrumbStoreTest : public ::testing::Test {
  protected:
    CrumbStore& open(LibraryAccess access = LibraryAccess::writing) {
        store_.reset();
        store_ = std::make_unique<CrumbStore>(world_.platform(), world_.layout(), access);
        world_.resultOf(store_->open(SessionLength::oneCommand));
        return *store_;
    }

    Uuid add(const std::string& title, const std::string& note = "") {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = title;
        item.note = note;
        item.createdAt = world_.time.now();
        world_.time.advance(1);
        addRecord(item);
        return item.id;
    }
    void addRecord(const CrumbItem& item) {
        const CrumbItemList records{std::make_shared<const CrumbItem>(item)};
        save([&](Saved saved) { store_->addRecords(records, {}, std::move(saved)); });
    }
    /// Begins a change, and waits until it is durable.
    void save(const std::function<void(Saved)>& begin) {
        std::optional<SaveFailure> outcome;
        begin([&](const SaveFailure& failure) { outcome = failure; });
        world_.time.settle();
        ASSERT_TRUE(outcome) << "it is not told whether it was saved";
        EXPECT_FALSE(*outcome) << outcome->message();
    }
    void setTags(const Uuid& id, const std::vector<std::string>& tags) {
        save([&](Saved saved) { store_->memoryEdits().setManualTags(id, tags, std::move(saved)); });
    }
    void setBringBack(const Uuid& id, Timestamp date) {
        save([&](Saved saved) { store_->memoryEdits().setBringBack(id, date, std::move(saved)); });
    }

    DestructiveOutcome remove(const std::vector<Uuid>& ids) {
        return world_.resultOf(store_->remover().deleteMemories(ids));
    }

    CaptureReport capture(const Path& file) {
        const auto operation = store_->capture({.sources = {CaptureFile{file}}});
        world_.time.settle();
        return reportOf(*operation->outcome());
    }

    std::vector<std::string> titlesFor(const std::string& text) {
        store_->search().setText(text);
        world_.time.settle();
        std::vector<std::string> titles;
        for (const auto& item : *store_->filteredItems()) titles.push_back(item->title);
        return titles;
    }

    TestPlatform world_;
    std::unique_ptr<CrumbStore> store_;
};

using Titles = std::vector<std::string>;

constexpr std::string_view legacyLibrary = R"([
    {"id": "0F8FAD5B-D9CB-469F-A165-70867728950E", "title": "Old", "kind": "text",
     "createdAt": 600000000.5, "searchableText": "", "note": "from before"},
    {"id": "1F8FAD5B-D9CB-469F-A165-70867728950E", "title": "Newer", "kind": "url",
     "createdAt": 600000100, "searchableText": "", "note": "", "urlString": "https://a.example"}])";

TEST_F(CrumbStoreTest, KeepsMemoriesNewestFirstAcrossStarts) {
    open();
    add("first");
    add("second");
    open();
    ASSERT_EQ(store_->items()->size(), 2u);
    EXPECT_EQ(store_->items()->front()->title, "second");
    EXPECT_EQ(titlesFor("firs"), Titles{"first"});
}

TEST_F(CrumbStoreTest, TakesTheLegacyFileInOnce) {
    world_.folder.write("data/Crumb/crumbs.json", legacyLibrary);
    world_.folder.write("data/Crumb/crumbs-migrated.json", "an older one");
    open();
    ASSERT_EQ(store_->items()->size(), 2u);
    EXPECT_EQ(store_->items()->front()->title, "Newer");
    EXPECT_EQ(store_->items()->back()->createdAt, Timestamp{1578307200.5});
    EXPECT_EQ(world_.folder.read("data/Crumb/crumbs-migrated.json"), legacyLibrary);
    EXPECT_FALSE(world_.files.status(world_.layout().legacyFile()));
    // A file beside a library that holds memories is left alone.
    world_.folder.write("data/Crumb/crumbs.json", "[]");
    open();
    EXPECT_EQ(store_->items()->size(), 2u);
    EXPECT_EQ(world_.folder.read("data/Crumb/crumbs.json"), "[]");
}

TEST_F(CrumbStoreTest, ADamagedLegacyFileStaysForTheNextStart) {
    const std::string damaged(legacyLibrary.substr(0, 200));
    world_.folder.write("data/Crumb/crumbs.json", damaged);
    open();
    EXPECT_TRUE(store_->items()->empty());
    EXPECT_TRUE(store_->startFailure());
    EXPECT_TRUE(world_.log.contains("Crumb SQLite load/migration error: " +
                                    (world_.folder / "data/Crumb/crumbs.json").native() +
                                    " cannot be understood: Not valid JSON: "));
    EXPECT_EQ(world_.folder.read("data/Crumb/crumbs.json"), damaged);
    world_.folder.write("data/Crumb/crumbs.json", legacyLibrary);
    open();
    EXPECT_EQ(store_->items()->size(), 2u);
}

TEST_F(CrumbStoreTest, ADatabaseThatCannotBeOpenedIsSaidAndRefusesSaves) {
    world_.folder.write("data/Crumb/crumb.sqlite3",
                        "this is no database, and longer than a header "
                        "of one hundred bytes, to be sure of that .....");
    open();
    EXPECT_TRUE(store_->startFailure());
    EXPECT_TRUE(world_.log.contains("Crumb database unavailable."));
    EXPECT_THROW(testing::addGroup(*store_, "Trips"), Error);
    EXPECT_TRUE(capture(world_.folder.write("a.txt", "text")).added.empty());
}

TEST_F(CrumbStoreTest, OnlyOneProcessWritesAndAnyMayRead) {
    open();
    add("shared");
    CrumbStore second(world_.platform(), world_.layout(), LibraryAccess::writing);
    EXPECT_THROW(world_.resultOf(second.open(SessionLength::oneCommand)), LibraryInUse);
    CrumbStore reader(world_.platform(), world_.layout(), LibraryAccess::reading);
    world_.resultOf(reader.open(SessionLength::oneCommand));
    EXPECT_EQ(reader.items()->size(), 1u);
    EXPECT_THROW(testing::addGroup(reader, "Trips"), Error);
}

TEST_F(CrumbStoreTest, EditsTagsAndGroupsChangeWhatIsFound) {
    open();
    const Uuid id = add("Harbour", "blue boats #lisbon");
    EXPECT_EQ(store_->tagsOf(id), Titles{"lisbon"});
    setTags(id, {"#Summer ", "summer", "", "Work"});
    EXPECT_EQ(store_->tagsOf(id), (Titles{"lisbon", "Summer", "Work"}));
    EXPECT_EQ(titlesFor("#summer"), Titles{"Harbour"});

    CrumbItem changed = *store_->item(id);
    changed.note = "red boats";
    EXPECT_FALSE(testing::change(*store_, changed));
    EXPECT_EQ(titlesFor("blue"), Titles{});
    EXPECT_EQ(titlesFor("red"), Titles{"Harbour"});
    EXPECT_EQ(titlesFor("#lisbon"), Titles{});

    const Uuid group = testing::addGroup(*store_, "Portugal");
    EXPECT_FALSE(testing::assign(*store_, {id}, group));
    EXPECT_EQ(titlesFor("portugal"), Titles{"Harbour"});
    EXPECT_FALSE(store_->groupEdits().rename(group, "Algarve", SaveReason::edit));
    EXPECT_EQ(titlesFor("portugal"), Titles{});
    open();
    EXPECT_EQ(titlesFor("algarve"), Titles{"Harbour"});
    EXPECT_EQ(titlesFor("#summer red"), Titles{"Harbour"});
}

TEST_F(CrumbStoreTest, DeletingAGroupKeepsItsMemoriesAndSnapshotsFirst) {
    open();
    const Uuid id = add("kept");
    const Uuid group = testing::addGroup(*store_, "Trips");
    EXPECT_FALSE(testing::assign(*store_, {id}, group));
    const auto removal = store_->remover().deleteGroup(group);
    EXPECT_TRUE(store_->groupEdits().rename(group, "x", SaveReason::edit)) << "it is being removed";
    testing::addGroup(*store_, "Other");  // nothing else is closed
    EXPECT_EQ(world_.resultOf(removal).count, 1u);
    EXPECT_FALSE(store_->item(id)->groupID);
    EXPECT_EQ(store_->groups()->size(), 1u);
    const auto snapshots = store_->recoverySnapshots().list();
    ASSERT_EQ(snapshots.size(), 1u);
    EXPECT_EQ(snapshots.front().reason, "before-delete-group");
    open();
    EXPECT_FALSE(store_->item(id)->groupID);
}

TEST_F(CrumbStoreTest, DeletedMemoriesLeaveNoTraceButTheSnapshotAndTheTrash) {
    open();
    const auto report = capture(world_.folder.write("letter.md", "Dear #friend, the key is here"));
    ASSERT_EQ(report.added.size(), 1u);
    const Uuid id = report.added.front();
    const Uuid other = add("other");
    setTags(id, {"private"});
    save([&](Saved saved) { store_->memoryEdits().recordSelection(id, std::move(saved)); });
    setBringBack(id, Timestamp{1'900'000'000});
    world_.keyStore.write("com.kestrelhq.Crumb.secure", id.toString(), "secret");
    store_->selection().set({id, other});

    const DestructiveOutcome outcome = remove({id});
    EXPECT_EQ(outcome.count, 1u);
    EXPECT_FALSE(store_->item(id));
    EXPECT_EQ(titlesFor("key"), Titles{});
    EXPECT_EQ(*store_->selectedIDs(), std::set<Uuid>{other});
    EXPECT_TRUE(store_->bringBackDates()->empty());
    EXPECT_FALSE(world_.keyStore.read("com.kestrelhq.Crumb.secure", id.toString()));
    for (const auto key : libraryDefaultsKeys) {
        EXPECT_EQ(world_.defaults.get(key).value_or("").find(id.toString()), std::string::npos);
    }
    EXPECT_TRUE(world_.folder.filesBelow("data/Crumb/Items").empty());
    EXPECT_EQ(world_.folder.read("trash/letter.md"), "Dear #friend, the key is here");
    EXPECT_EQ(world_.folder.read("data/Crumb/Recovery/Snapshots" / Path(*outcome.snapshotName) /
                                 "Items/letter.md"),
              "Dear #friend, the key is here");
    open();
    EXPECT_EQ(store_->items()->size(), 1u);
    EXPECT_EQ(capture(world_.folder / "letter.md").added.size(), 1u);
    EXPECT_EQ(world_.folder.filesBelow("data/Crumb/Items"), std::vector<std::string>{"letter.md"})
        << "the name is free again";
}

TEST_F(CrumbStoreTest, WhatIsBeingDeletedMakesNoNewcomerSuperfluous) {
    open();
    const Path file = world_.folder.write("twin.txt", "the only copy");
    const Uuid old = capture(file).added.at(0);
    const auto removal = store_->remover().deleteMemories({old});
    const auto arrival = store_->capture({.sources = {CaptureFile{file}}});
    EXPECT_EQ(world_.resultOf(arrival).added.size(), 1u) << "its twin is about to go";
    EXPECT_EQ(world_.resultOf(removal).count, 1u);
    ASSERT_EQ(store_->items()->size(), 1u);
    EXPECT_TRUE(world_.files.status(*store_->items()->front()->filePath));
}

TEST_F(CrumbStoreTest, DeletionsAskedForMeanwhileGoTogetherBehindOneSnapshot) {
    open();
    std::vector<Uuid> ids;
    for (int i = 0; i < 6; ++i) ids.push_back(add(std::to_string(i)));
    const Uuid kept = add("still there");
    std::vector<OperationPointer<DestructiveOutcome>> removals;
    for (const Uuid& id : ids) removals.push_back(store_->remover().deleteMemories({id}));
    removals[3]->stop();
    EXPECT_FALSE(testing::change(*store_, *store_->item(kept))) << "nothing else is closed";
    world_.time.settle();
    EXPECT_TRUE(removals[3]->outcome()->isStopped());
    EXPECT_EQ(removals[5]->outcome()->get().count, 1u);
    EXPECT_EQ(store_->items()->size(), 2u);
    const Uuid stopped = store_->items()->back()->id;
    EXPECT_FALSE(testing::change(*store_, *store_->item(stopped))) << "it is open again";
    EXPECT_LE(store_->recoverySnapshots().list().size(), 2u);
}

TEST_F(CrumbStoreTest, ARemovalThatWaitedForAnothersIsDoneForItsOwnCaller) {
    open();
    std::vector<const Caller*> callers;
    const auto removeFor = [&](const std::shared_ptr<const Caller>& caller) {
        const Uuid id = add("note");
        return [this, id, caller, &callers] {
            const CallerScope scope(caller);
            store_->remover().deleteMemories({id})->whenEnded(
                [&] { callers.push_back(CallerScope::current().get()); });
        };
    };
    const auto one = std::make_shared<const Caller>();
    const auto other = std::make_shared<const Caller>();
    const std::vector<std::function<void()>> removals{removeFor(one), removeFor(other)};
    for (const auto& begin : removals) begin();
    world_.time.settle();
    EXPECT_EQ(callers, (std::vector<const Caller*>{one.get(), other.get()}));
}

TEST_F(CrumbStoreTest, ASecureSourceGoesThoughWhatDerivesFromItIsToGoNext) {
    open();
    const Uuid source = add("card");
    CrumbItem derived;
    derived.id = Uuid::random();
    derived.sourceItemID = source;
    addRecord(derived);
    CrumbItem secure = *store_->item(source);
    markSecure(secure);
    EXPECT_FALSE(testing::change(*store_, secure));
    const auto first = store_->remover().deleteMemories({source});
    const auto second = store_->remover().deleteMemories({derived.id});
    EXPECT_EQ(world_.resultOf(first).count, 1u);
    EXPECT_EQ(world_.resultOf(second).count, 1u);
}

TEST_F(CrumbStoreTest, AFailedSaveNeverComesBackOverANewerOne) {
    open();
    const Uuid id = add("a");
    std::vector<bool> failures;
    const auto told = [&](const SaveFailure& failure) { failures.push_back(bool(failure)); };
    world_.defaults.refusesChanges = true;
    store_->memoryEdits().setManualTags(id, {"old"}, told);
    store_->memoryEdits().setManualTags(id, {"new"}, [&](const SaveFailure& failure) {
        told(failure);
        world_.defaults.refusesChanges = false;
    });
    world_.time.settle();
    EXPECT_EQ(failures, (std::vector{true, true}));
    save([&](Saved saved) { store_->memoryEdits().recordSelection(id, std::move(saved)); });
    open();
    EXPECT_EQ(store_->tagsOf(id), Titles{"new"});
}

TEST_F(CrumbStoreTest, ClosingEndsWhatRunsAndLeavesTheLibraryToOthers) {
    open();
    const Uuid id = add("a");
    const auto removal = store_->remover().deleteMemories({id});
    const auto closing = store_->close();
    EXPECT_EQ(store_->close(), closing);
    world_.resultOf(closing);
    EXPECT_TRUE(removal->isFinished());
    EXPECT_THROW(testing::addGroup(*store_, "Trips"), Error) << "it is closed";
    CrumbStore other(world_.platform(), world_.layout(), LibraryAccess::writing);
    const auto opening = other.open(SessionLength::lasting);
    const auto closingAtOnce = other.close();
    world_.resultOf(closingAtOnce);
    EXPECT_TRUE(opening->isFinished());
    store_.reset();
    EXPECT_EQ(open().items()->size(), removal->outcome()->isDone() ? 0u : 1u);
}

TEST_F(CrumbStoreTest, AnOriginalThatSeveralMemoriesShareGoesWithTheLast) {
    open();
    const Uuid first = capture(world_.folder.write("shared.txt", "words")).added.at(0);
    CrumbItem derived = *store_->item(first);
    derived.id = Uuid::random();
    derived.sourceItemID = first;
    addRecord(derived);
    remove({first});
    EXPECT_EQ(world_.folder.filesBelow("data/Crumb/Items").size(), 1u);
    remove({derived.id});
    EXPECT_TRUE(world_.folder.filesBelow("data/Crumb/Items").empty());
}

TEST_F(CrumbStoreTest, HoweverPathsAreSpelledNothingButAMemorysOwnOriginalIsRemoved) {
    open();
    const Uuid kept = capture(world_.folder.write("kept.txt", "words")).added.at(0);
    const std::string items = world_.layout().items().native();
    const Path outside = world_.folder.write("outside/mine.txt", "mine");
    symlink(outside.parent_path().c_str(), (items + "/way-out").c_str());
    const std::vector<std::string> spellings{items,
                                             items + "/",
                                             items + "/.",
                                             items + "/x/..",
                                             items + "//",
                                             items + std::string("/\0x", 3),
                                             items + std::string("/kept.txt\0x", 11),
                                             items + "/./kept.txt",
                                             items + "/kept.txt/",
                                             items + "/../Items//kept.txt",
                                             items + "/way-out/mine.txt"};
    std::vector<Uuid> hostile;
    for (const std::string& spelling : spellings) {
        CrumbItem item;
        item.id = Uuid::random();
        item.kind = CrumbKind::file;
        item.filePath = spelling;
        addRecord(item);
        hostile.push_back(item.id);
    }
    remove(hostile);
    open();
    EXPECT_TRUE(world_.files.status(*store_->item(kept)->filePath));
    EXPECT_EQ(world_.folder.read("outside/mine.txt"), "mine");

    CrumbItem twin = *store_->item(kept);
    twin.id = Uuid::random();
    twin.filePath = items + "/./kept.txt";
    addRecord(twin);
    remove({kept, twin.id});
    EXPECT_FALSE(world_.files.status(world_.layout().items() / "kept.txt"));
    EXPECT_EQ(world_.folder.read("trash/kept.txt"), "words");
}

TEST_F(CrumbStoreTest, ClearLibraryEmptiesEverythingItOwns) {
    open();
    capture(world_.folder.write("a.txt", "words"));
    const Path outside = world_.folder.write("outside.txt", "mine");
    CrumbItem linked;
    linked.id = Uuid::random();
    linked.kind = CrumbKind::file;
    linked.filePath = outside;
    addRecord(linked);
    testing::addGroup(*store_, "Trips");
    const DestructiveOutcome outcome = world_.resultOf(store_->remover().clearLibrary());
    EXPECT_EQ(outcome.count, 2u);
    EXPECT_TRUE(outcome.snapshotName);
    EXPECT_TRUE(store_->items()->empty());
    EXPECT_TRUE(store_->groups()->empty());
    EXPECT_TRUE(world_.folder.filesBelow("data/Crumb/Items").empty());
    EXPECT_EQ(world_.folder.read("outside.txt"), "mine");
    open();
    EXPECT_TRUE(store_->items()->empty());
    EXPECT_FALSE(store_->startFailure());
}

TEST_F(CrumbStoreTest, EmbeddingsAreMadeInTheBackgroundAndAgainAfterAnEdit) {
    world_.embedder = &world_.fakeEmbedder;
    open();
    const Uuid id = add("our puppy sleeps");
    EXPECT_EQ(titlesFor("dog"), Titles{}) << "nothing is embedded before the work begins";
    EXPECT_EQ(*store_->indexingCount(), 1);
    store_->enrichment().start();
    world_.time.settle();
    EXPECT_EQ(*store_->indexingCount(), 0);
    EXPECT_EQ(titlesFor("dog"), Titles{"our puppy sleeps"});

    CrumbItem changed = *store_->item(id);
    changed.title = "our plant grows";
    EXPECT_FALSE(testing::change(*store_, changed));
    open();
    EXPECT_EQ(*store_->indexingCount(), 1) << "the edit is remembered across a start";
    store_->enrichment().start();
    world_.time.settle();
    EXPECT_EQ(titlesFor("dog"), Titles{});
    EXPECT_EQ(titlesFor("garden"), Titles{"our plant grows"});
    open();
    EXPECT_EQ(*store_->indexingCount(), 0);
}

TEST_F(CrumbStoreTest, OnlyTheLastQuerysDeepResultIsShown) {
    open();
    add("red boats");
    add("blue boats");
    int published = 0;
    const auto subscription =
        store_->searchResult().subscribe([&](const SearchResultPointer& result) {
            if (result->isFinal) ++published;
        });
    for (const char* typed : {"r", "re", "red"}) store_->search().setText(typed);
    world_.time.settle();
    EXPECT_EQ(published, 1);
    EXPECT_EQ((*store_->searchResult())->text, "red");
    EXPECT_EQ(store_->retrievalHints()->size(), 1u);
    EXPECT_EQ(store_->retrievalHints()->begin()->second, "Matched title");
}

TEST_F(CrumbStoreTest, AnEmptyQueryBrowsesTheNewest) {
    open();
    for (const char* title : {"a", "b", "c"}) add(title);
    store_->search().setText("  ", 2);
    EXPECT_EQ(store_->search().browsingText(), "Browsing the full library.");
    EXPECT_EQ(store_->search().statusText(), "2 most recent memories");
    EXPECT_EQ(store_->filteredItems()->front()->title, "c");
    EXPECT_TRUE(store_->retrievalHints()->empty());
}

TEST_F(CrumbStoreTest, BroughtBackMemoriesAreAnnouncedOnTheirDate) {
    open();
    const Uuid id = add("passport");
    setBringBack(id, Timestamp{world_.time.now().secondsSince1970 + 7000});
    world_.time.advance(6990);
    EXPECT_TRUE(store_->broughtBackIDs()->empty());
    world_.time.advance(20);
    EXPECT_EQ(*store_->broughtBackIDs(), std::set<Uuid>{id});
    EXPECT_EQ((*store_->bringBackNotice())->memoryIDs, std::vector<Uuid>{id});
}

TEST_F(CrumbStoreTest, UnreadableAnnotationsAreKeptAside) {
    world_.defaults.set(manualTagsDefaultsKey, "{\"not an id\": []}");
    open();
    const Uuid id = add("a");
    setTags(id, {"new"});
    EXPECT_EQ(world_.defaults.get("Crumb.ManualTags.v1.unreadable"), "{\"not an id\": []}");
    EXPECT_TRUE(world_.log.contains("Crumb.ManualTags.v1"));
}

}  // namespace
}  // namespace nookery
