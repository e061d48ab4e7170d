#include "workspace/Edits.h"

#include <gtest/gtest.h>

#include "support/FaultyDatabaseFiles.h"
#include "support/StoreChanges.h"
#include "workspace/WorkspaceWorld.h"

namespace nookery {
namespace {

using testing::WorkspaceWorld;
using Names = std::vector<std::string>;

class EditsTest : public ::testing::Test {
  protected:
    WorkspaceWorld library_;
    Edits& edits_ = *library_.edits;
};

TEST_F(EditsTest, APatchNeverWritesOverWhatHasChangedSinceItBegan) {
    const Uuid cake = library_.addNote("Cake", "two eggs");
    library_.changeBeside(cake, [](CrumbItem& item) { item.text = "three eggs"; });
    const auto outcome = library_.wait(edits_.edit(
        cake, {.title = TextPatch{"Cake", "Lemon cake"}, .text = TextPatch{"two eggs", "none"}}));
    EXPECT_EQ(outcome.conflicts, (std::vector<FieldConflict>{{"text", "three eggs"}}));
    EXPECT_EQ(library_.says(), "Lemon cake  three eggs two eggs \n");
    library_.undo();
    EXPECT_EQ(library_.titleOf(cake), "Cake");
    EXPECT_EQ(library_.store->item(cake)->text, "three eggs");
}

TEST_F(EditsTest, WrongUsageIsToldApartFromWhatTheLibraryRefuses) {
    const Uuid note = library_.addNote("About #plants");
    CrumbItem link;
    link.id = Uuid::random();
    link.title = "A link";
    link.kind = CrumbKind::url;
    library_.bringIn(link);
    library_.wait(edits_.createGroup("  Recipes "));
    EXPECT_THROW(library_.wait(edits_.createGroup(" ")), InvalidInput);
    EXPECT_THROW(library_.wait(edits_.tag({note}, {.added = {" # "}})), InvalidInput);
    const auto message = [&](const auto& operation) -> std::string {
        try {
            library_.wait(operation);
        } catch (const InvalidInput&) {
            return "wrong usage";
        } catch (const Error& error) {
            return error.description();
        }
        return "done";
    };
    EXPECT_EQ(message(edits_.createGroup("Recipes")), "There is a group \"Recipes\" already.");
    EXPECT_EQ(message(edits_.tag({note}, {.removed = {"#Plants"}})),
              "#Plants stands in the memory's title or note: edit that.");
    EXPECT_EQ(message(edits_.tag({note}, {.removed = {"herbs"}})), "The memory has no tag #herbs.");
    EXPECT_EQ(message(edits_.edit(link.id, {.text = TextPatch{"", "x"}})),
              "Only a note's text can be edited; \"A link\" is not one.");
    EXPECT_EQ(library_.stepNames(), (Names{"Create group \"Recipes\""}));
}

TEST_F(EditsTest, WhatChangesManyMemoriesIsOneStepAndIsTakenBackAsOne) {
    std::vector<Uuid> ids;
    for (const char* title : {"One", "Two", "Three"}) ids.push_back(library_.addNote(title));
    library_.wait(edits_.tag({ids[0]}, {.added = {"old"}}));
    const std::string before = library_.says();
    library_.wait(edits_.tag(ids, {.added = {"#Baking"}, .removed = {"OLD"}}));
    const Uuid group = library_.wait(edits_.createGroup("Kitchen"));
    library_.wait(edits_.assign(ids, group));
    library_.wait(edits_.setBringBack({ids[0], ids[2]}, Timestamp{1.9e9}));
    library_.wait(edits_.renameGroup(group, "Kitchen 2"));
    const std::string after = library_.says();
    EXPECT_EQ(library_.stepNames(),
              (Names{"Tag \"One\" #old", "Retag 3 memories #Baking", "Create group \"Kitchen\"",
                     "Put 3 memories into group \"Kitchen\"", "Bring 2 memories back on 2030-03-17",
                     "Rename group \"Kitchen\""}));
    library_.restart();
    for (int i = 0; i < 5; ++i) library_.undo();
    EXPECT_EQ(library_.says(), before);
    for (int i = 0; i < 5; ++i) library_.redo();
    EXPECT_EQ(library_.says(), after);
    EXPECT_EQ(library_.undo().remainingCount, 5u);
}

TEST_F(EditsTest, TheGroupComesBackWithItsMemoriesAndThoseThatMovedOnStay) {
    const Uuid one = library_.addNote("One");
    const Uuid two = library_.addNote("Two");
    const Uuid group = library_.wait(edits_.createGroup("Kitchen"));
    library_.wait(edits_.assign({one, two}, group));
    library_.wait(edits_.deleteGroup(group));
    EXPECT_EQ(library_.store->groups()->size(), 0u);
    const Uuid other = testing::addGroup(*library_.store, "Garden");
    library_.changeBeside(two, [&](CrumbItem& item) { item.groupID = other; });
    EXPECT_THROW(library_.undo(), ConsentNeeded);
    EXPECT_EQ(library_.store->groups()->size(), 1u);
    const auto preview = library_.wait(library_.history->previewUndo());
    EXPECT_EQ(preview.lost, (Names{"The group of \"Two\" has changed since; as it is now, it would "
                                   "be lost."}));
    library_.undo(Consent::given);
    EXPECT_EQ(library_.store->groupNameOf(*library_.store->item(one)), "Kitchen");
    EXPECT_EQ(library_.store->groupNameOf(*library_.store->item(two)), "Kitchen");
}

TEST_F(EditsTest, SavesOfOneFieldWhileItKeepsTheFocusAreOneStep) {
    const Uuid note = library_.addNote("L");
    const EditingToken focus = Uuid::random();
    for (const char* title : {"Le", "Lem", "Lemon"}) library_.retitle(note, title, focus);
    EXPECT_EQ(library_.stepNames(), (Names{"Edit \"L\""}));
    library_.retitle(note, "Lemon cake", Uuid::random());
    EXPECT_EQ(library_.stepNames().size(), 2u);
    library_.undo();
    EXPECT_EQ(library_.titleOf(note), "Lemon");
    library_.undo();
    EXPECT_EQ(library_.titleOf(note), "L");
    // Typed and taken away again is nothing.
    library_.retitle(note, "Lx", focus);
    library_.retitle(note, "L", focus);
    EXPECT_EQ(library_.stepNames().size(), 0u);
    // What came in between is nobody's typing.
    library_.retitle(note, "La", focus);
    library_.changeBeside(note, [](CrumbItem& item) { item.title = "By phone"; });
    library_.retitle(note, "Lb", focus);
    library_.undo();
    EXPECT_EQ(library_.titleOf(note), "By phone");
}

/// Fails from the k-th write of a database on, for each k.
class EditsOnAFullDisk : public ::testing::Test {
  protected:
    template <typename Result>
    bool isDone(const OperationPointer<Result>& operation) {
        library_.world.time.settle();
        return operation->outcome()->isDone();
    }
    void mendDisk() {
        disk_.disarm();
        library_.world.log.lines.clear();
    }

    testing::FaultyDatabaseFiles disk_;
    WorkspaceWorld library_;
};

TEST_F(EditsOnAFullDisk, WhatWasWrittenStaysShownUntilTheNextStartAndCannotBeTakenBackUnsaved) {
    const Uuid note = library_.addNote("old");
    bool isSaved = false;
    for (int k = 1; !isSaved; ++k) {
        disk_.arm(testing::Fault::diskFull, k);
        isSaved = isDone(library_.edits->edit(note, {.title = TextPatch{"old", "new"}}));
        EXPECT_EQ(library_.titleOf(note), "new") << k;
        EXPECT_EQ(library_.world.log.contains("Crumb SQLite save error: "), !isSaved) << k;
        EXPECT_EQ(library_.world.log.problems.empty(), isSaved) << k;
        if (!isSaved) {
            EXPECT_FALSE(isDone(library_.history->undo(Consent::none)));
            EXPECT_EQ(library_.titleOf(note), "new") << "an undoing that was not saved";
        }
        mendDisk();
        library_.restart();
        const bool isThere = library_.titleOf(note) == "new";
        EXPECT_EQ(library_.history->state()->undoName.has_value(), isThere) << k;
        if (isThere) library_.undo();
        EXPECT_EQ(library_.titleOf(note), "old");
    }
}

TEST_F(EditsOnAFullDisk, AFailedCleanupOfNamesIsShownAndLoggedAsOne) {
    const Uuid note = library_.addNote("IMG_1");
    disk_.arm(testing::Fault::diskFull, 1);
    EXPECT_FALSE(isDone(library_.edits->cleanUpNames({{note, "IMG_1", "Photo"}})));
    EXPECT_TRUE(library_.world.log.contains("Crumb filename cleanup save error: "));
    EXPECT_FALSE(library_.world.log.contains("Crumb SQLite save error: "));
    EXPECT_EQ(library_.titleOf(note), "Photo");
    mendDisk();
    library_.restart();
    EXPECT_EQ(library_.titleOf(note), "IMG_1");
}

TEST_F(EditsTest, TextsOfProtectedMemoriesNeverReachTheHistory) {
    CrumbItem card;
    card.id = Uuid::random();
    card.title = "quincunx";
    markSecure(card);
    library_.bringIn(card);
    CrumbItem photo;
    photo.id = Uuid::random();
    photo.title = "zugzwang";
    photo.sourceItemID = card.id;
    library_.bringIn(photo);
    const Uuid plain = library_.addNote("Plain");
    library_.wait(edits_.edit(card.id, {.title = TextPatch{"quincunx", "syzygy"}}));
    library_.wait(edits_.edit(photo.id, {.note = TextPatch{"", "ytterbium"}}));
    library_.wait(edits_.tag({photo.id}, {.added = {"oxymoron"}}));
    EXPECT_EQ(library_.titleOf(card.id), "syzygy");
    // It is passed over, and only when the person knows.
    EXPECT_THROW(library_.undo(), ConsentNeeded);
    EXPECT_EQ(library_.undo(Consent::given).changeCount, 0);
    EXPECT_EQ(library_.store->tagsOf(photo.id), Names{"oxymoron"});
    library_.wait(edits_.deleteMemories({card.id, photo.id, plain}));
    library_.undo(Consent::given);
    EXPECT_NE(library_.store->item(plain), nullptr);
    EXPECT_EQ(library_.store->item(card.id), nullptr);
    const std::string bytes = library_.sidecarBytes();
    EXPECT_NE(bytes.find("Edit a protected memory"), std::string::npos);
    for (const char* text : {"quincunx", "syzygy", "zugzwang", "ytterbium", "oxymoron"}) {
        EXPECT_EQ(bytes.find(text), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace nookery
