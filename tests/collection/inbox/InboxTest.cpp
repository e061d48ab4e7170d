#include <gtest/gtest.h>

#include <fstream>

#include "collection/inbox/InboxNames.h"
#include "retrieval/text/ContentPieces.h"
#include "support/InboxHarness.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::InboxHarness;
using testing::TestPlatform;
using Names = std::vector<std::string>;

class InboxTest : public ::testing::Test {
  protected:
    TestPlatform world_;
    InboxHarness inbox_{world_};
};

TEST_F(InboxTest, TenFilesAtOnceAreTakenInOneGoAndThenRemoved) {
    inbox_.start();
    int mostUnderWay = 0;
    const auto counts = inbox_.store->inboxImportCount().subscribe(
        [&](int count) { mostUnderWay = std::max(mostUnderWay, count); });
    for (int i = 0; i < 10; ++i) {
        inbox_.drop("file" + std::to_string(i) + ".txt", std::to_string(i));
        inbox_.advance(0.3);
    }
    inbox_.advance(1.9);
    EXPECT_TRUE(inbox_.reports.empty()) << "they have not held still for two seconds";
    inbox_.advance(1);
    ASSERT_EQ(inbox_.reports.size(), 1u);
    EXPECT_EQ(inbox_.reports[0].taken.added.size(), 10u);
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{});
    EXPECT_EQ(mostUnderWay, 10);
    EXPECT_EQ(*inbox_.store->inboxImportCount(), 0);
    EXPECT_EQ(inbox_.disorder(), "");
    EXPECT_TRUE(world_.log.lines.empty());
}

TEST_F(InboxTest, AnEndlessStreamOfEventsDoesNotHoldUpWhatIsAtRest) {
    inbox_.start();
    inbox_.drop("rested.txt", "1");
    for (int i = 0; i < 40; ++i) {
        inbox_.drop("stream" + std::to_string(i) + ".part", "1");
        inbox_.advance(0.3);
    }
    EXPECT_TRUE(inbox_.find("rested"));
}

TEST_F(InboxTest, AFileThatGrowsIsNotTakenWhateverTheClockSays) {
    inbox_.start();
    const Path path = inbox_.drop("film.txt", "a");
    for (int i = 0; i < 12; ++i) {
        inbox_.advance(1);
        world_.time.setWallClock(Timestamp{i % 2 == 0 ? 0.0 : 4e9});
        std::ofstream(path, std::ios::app) << "more";
        EXPECT_TRUE(inbox_.reports.empty());
    }
    inbox_.advance(6);
    ASSERT_EQ(inbox_.reports.size(), 1u);
    EXPECT_EQ(readableContents(inbox_.find("film")->searchableText).size(), 49u);
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{});
}

TEST_F(InboxTest, UnfinishedHiddenAndConflictNamesAreLeftAlone) {
    const Names aside{".hidden",
                      ".syncthing.film.mp4.tmp",
                      "film.mp4.part",
                      "film.mp4.crdownload",
                      "report.docx~",
                      "~$report.docx",
                      "Thumbs.db",
                      "photo.jpg.nextcloud",
                      "plan.sync-conflict-20260301-093000-ABCDEFG.txt",
                      "plan (conflicted copy 2026-03-01 093000).txt",
                      "plan (Ann's conflicted copy).txt",
                      "plan_conflict-20260301-093000.txt"};
    for (const std::string& name : aside) inbox_.drop(name, "content");
    inbox_.drop("empty.txt", "");
    inbox_.drop("about conflicts.txt", "to be taken");
    inbox_.start();
    inbox_.advance(30);
    EXPECT_EQ(inbox_.titles(), Names{"about conflicts"});
    EXPECT_EQ(inbox_.left(inbox_.inbox()).size(), aside.size() + 1);

    std::filesystem::rename(inbox_.inbox() / "film.mp4.part", inbox_.inbox() / "film.mp4");
    inbox_.report(inbox_.inbox(), "film.mp4");
    inbox_.advance(3);
    EXPECT_TRUE(inbox_.find("film"));
}

TEST_F(InboxTest, AFolderIsTakenWholeOnceNothingInItMovesAndLinksAreNot) {
    inbox_.start();
    world_.folder.write("secret.txt", "not to be taken");
    for (int i = 0; i < 5; ++i) {
        inbox_.drop("trip/day" + std::to_string(i) + "/notes" + std::to_string(i) + ".txt",
                    std::to_string(i));
        inbox_.advance(1.5);
        EXPECT_TRUE(std::filesystem::exists(inbox_.inbox() / "trip/day0/notes0.txt"))
            << "a program still copies into the folder";
    }
    std::filesystem::create_symlink(world_.folder / "secret.txt", inbox_.inbox() / "trip/way.txt");
    inbox_.drop("trip/later.part", "half");
    inbox_.advance(12);
    EXPECT_EQ(inbox_.titles(), (Names{"notes0", "notes1", "notes2", "notes3", "notes4"}));
    EXPECT_TRUE(std::filesystem::is_symlink(inbox_.inbox() / "trip/way.txt"));
    // No event tells of what happens inside.
    std::filesystem::rename(inbox_.inbox() / "trip/later.part", inbox_.inbox() / "trip/later.txt");
    inbox_.advance(12);
    EXPECT_TRUE(inbox_.find("later"));
    std::filesystem::remove(inbox_.inbox() / "trip/way.txt");
    inbox_.drop("trip/last.txt", "last");
    inbox_.advance(12);
    EXPECT_FALSE(std::filesystem::exists(inbox_.inbox() / "trip")) << "emptied folders go";
}

TEST_F(InboxTest, WhatCannotBeTakenStaysAndIsTriedAgain) {
    inbox_.start();
    inbox_.drop("a.txt", "a");
    world_.files.arm(Fault::diskFull, 1);
    inbox_.advance(4);
    ASSERT_EQ(inbox_.reports.size(), 1u);
    EXPECT_EQ(inbox_.reports[0].taken.failed.size(), 1u);
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{"a.txt"});
    inbox_.advance(60);
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{"a.txt"});
    ASSERT_EQ(world_.log.problems.size(), 1u);
    EXPECT_EQ(world_.log.problems[0].subject.path, inbox_.inbox() / "a.txt");
    EXPECT_TRUE(world_.log.problems[0].message.starts_with("a.txt stays in the inbox: "));
    world_.files.disarm();
    inbox_.advance(13);
    EXPECT_TRUE(inbox_.find("a"));
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{});
    EXPECT_TRUE(world_.log.problems.empty());

    inbox_.drop("b.txt", "b");
    world_.files.arm(Fault::diskFull, 1);
    inbox_.advance(4);
    EXPECT_EQ(world_.log.problems.size(), 1u);
    std::filesystem::remove(inbox_.inbox() / "b.txt");
    world_.files.disarm();
    inbox_.advance(13);
    EXPECT_TRUE(world_.log.problems.empty()) << "somebody took it out";
}

TEST_F(InboxTest, AnInboxThatCannotBeOpenedIsToldOnceAndLookedForAgain) {
    world_.folder.write("data/Crumb/Inbox", "a file in its place");
    inbox_.start();
    inbox_.advance(100);
    EXPECT_EQ(world_.log.lines.size(), 1u);
    EXPECT_TRUE(world_.log.contains("Crumb Inbox create error: "));
    EXPECT_EQ(world_.log.problems.size(), 1u);
    std::filesystem::remove(inbox_.inbox());
    inbox_.advance(13);
    EXPECT_TRUE(world_.log.problems.empty());
    inbox_.drop("a.txt", "a");
    inbox_.advance(3);
    EXPECT_TRUE(inbox_.find("a"));

    std::filesystem::remove_all(inbox_.inbox());
    world_.directoryEvents.report(inbox_.inbox(), {.isGone = true});
    inbox_.advance(13);
    EXPECT_TRUE(world_.directoryEvents.isWatched(inbox_.inbox()));
    EXPECT_TRUE(inbox_.find("a")) << "a removed inbox says nothing about what was taken";
}

TEST_F(InboxTest, AfterLostEventsEverythingIsLookedAt) {
    inbox_.start();
    world_.folder.write("data/Crumb/Inbox/unreported.txt", "a");
    inbox_.advance(60);
    EXPECT_FALSE(inbox_.find("unreported"));
    world_.directoryEvents.report(inbox_.inbox(), {.overflowed = true});
    inbox_.advance(3);
    EXPECT_TRUE(inbox_.find("unreported"));
}

TEST_F(InboxTest, WhatTheLibraryHasGoesOnlyWhenItsOriginalIsSound) {
    inbox_.start();
    inbox_.drop("a.txt", "apples");
    inbox_.advance(3);
    inbox_.drop("again.txt", "apples");
    inbox_.advance(3);
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{});
    EXPECT_EQ(inbox_.notices.back(), "Already in NOOKERY");

    std::ofstream(world_.layout().items() / "a.txt", std::ios::in | std::ios::out) << "APPLES";
    inbox_.drop("rescue.txt", "apples");
    inbox_.advance(30);
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{"rescue.txt"}) << "it is the only sound one";
    EXPECT_EQ(inbox_.reports.size(), 3u) << "trying again cannot help";
}

TEST_F(InboxTest, TwentyThousandFilesAtOnceAreAllTaken) {
    constexpr int count = 20'000;
    for (int i = 0; i < count; ++i) {
        world_.folder.write("data/Crumb/Inbox/n" + std::to_string(i), std::to_string(i));
    }
    inbox_.start();
    inbox_.advance(3);
    ASSERT_EQ(inbox_.reports.size(), 1u);
    EXPECT_EQ(inbox_.reports[0].taken.added.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(inbox_.left(inbox_.inbox()), Names{});
    EXPECT_EQ(inbox_.disorder(), "");
}

TEST_F(InboxTest, TheCloudInboxMayAppearLateAndDisappear) {
    inbox_.start();
    inbox_.advance(100);
    EXPECT_FALSE(std::filesystem::exists(world_.cloud.container())) << "nothing is made there";
    EXPECT_TRUE(world_.log.lines.empty());

    world_.cloud.available = true;
    world_.folder.write("drive/iCloud.com.kestrel.Nookery/Documents/Inbox/a.txt", "a");
    inbox_.advance(15);
    EXPECT_TRUE(inbox_.find("a"));
    EXPECT_EQ(inbox_.reports.back().inbox, InboxKind::cloud);
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()), Names{});

    // Another machine's file comes without an event.
    world_.folder.write("drive/iCloud.com.kestrel.Nookery/Documents/Inbox/b.txt", "b");
    inbox_.advance(63);
    EXPECT_TRUE(inbox_.find("b"));

    const Path container = world_.cloud.container();
    inbox_.dropInCloud("c.txt", "c");
    inbox_.advance(1);
    world_.cloud.available = false;
    std::filesystem::rename(container, container.native() + ".away");
    inbox_.advance(200);
    EXPECT_EQ(inbox_.titles(), (Names{"a", "b"}));
    EXPECT_FALSE(std::filesystem::exists(container)) << "nothing is made in its place";
    std::filesystem::rename(container.native() + ".away", container);
    world_.cloud.available = true;
    inbox_.advance(20);
    EXPECT_EQ(inbox_.titles(), (Names{"a", "b", "c"}));
}

TEST_F(InboxTest, NoLinkBelowTheCloudFolderIsFollowed) {
    world_.cloud.available = true;
    const Path container = world_.cloud.container();
    for (const Path& place : {container, container / "Documents", inbox_.cloudInbox()}) {
        world_.folder.write("home/Documents/Inbox/mine.txt", "mine");
        std::filesystem::create_directories(place.parent_path());
        const Path target = place == container                 ? "home"
                            : place == container / "Documents" ? "home/Documents"
                                                               : "home/Documents/Inbox";
        std::filesystem::create_directory_symlink(world_.folder / target, place);
        inbox_.start();
        inbox_.advance(30);
        EXPECT_EQ(inbox_.titles(), Names{}) << place;
        EXPECT_EQ(world_.folder.read("home/Documents/Inbox/mine.txt"), "mine");
        ASSERT_EQ(world_.log.problems.size(), 1u) << place;
        EXPECT_NE(world_.log.problems[0].message.find("is a link"), std::string::npos);
        EXPECT_NE(world_.log.problems[0].advice, "");
        std::filesystem::remove(place);
        inbox_.dropInCloud("phone.txt", "from the phone");
        inbox_.advance(30);
        EXPECT_TRUE(inbox_.find("phone")) << place;
        EXPECT_TRUE(world_.log.problems.empty());

        // It becomes one while it is watched.
        std::filesystem::remove_all(inbox_.cloudInbox());
        std::filesystem::create_directory_symlink(world_.folder / "home/Documents/Inbox",
                                                  inbox_.cloudInbox());
        inbox_.advance(90);
        EXPECT_EQ(world_.folder.read("home/Documents/Inbox/mine.txt"), "mine");
        EXPECT_EQ(world_.log.problems.size(), 1u);
        inbox_.close();
        std::filesystem::remove_all(world_.folder / "data");
        std::filesystem::remove_all(container);
        world_.log.problems.clear();
    }
}

TEST_F(InboxTest, TakingOnceEndsAndSaysWhatIsLeft) {
    inbox_.drop("a.txt", "a");
    inbox_.drop("b.part", "b");
    inbox_.drop("growing.txt", "g");
    CrumbStore store(world_.platform(), world_.layout(), LibraryAccess::writing);
    world_.resultOf(store.open(SessionLength::oneCommand));
    const auto taking = store.inboxes().takeOnce();
    world_.time.advance(1);
    std::ofstream(inbox_.inbox() / "growing.txt", std::ios::app) << "more";
    world_.time.advance(1.1);
    const InboxesTaken taken = world_.resultOf(taking);
    const auto& waiting = taken.waiting;
    std::size_t added = 0;
    for (const InboxReport& report : taken.reports) added += report.taken.added.size();
    EXPECT_EQ(added, 1u);
    ASSERT_EQ(waiting.size(), 2u);
    EXPECT_EQ(waiting[0].path.filename(), "b.part");
    EXPECT_EQ(waiting[1].path.filename(), "growing.txt");
    world_.time.advance(100);
    EXPECT_EQ(inbox_.left(inbox_.inbox()).size(), 2u) << "it does not go on watching";
}

}  // namespace
}  // namespace nookery
