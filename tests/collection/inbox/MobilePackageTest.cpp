#include <gtest/gtest.h>

#include <fstream>

#include "collection/inbox/MobileManifests.h"
#include "support/InboxHarness.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::InboxHarness;
using testing::SimulatedCrash;
using testing::TestPlatform;
using Names = std::vector<std::string>;

std::string note(std::string_view id, std::string_view text, std::string_view attachments = "[]") {
    return R"({"schemaVersion":1,"kind":"note","noteID":")" + std::string(id) +
           R"(","createdAt":"2026-03-01T09:30:00Z","text":")" + std::string(text) +
           R"(","attachments":)" + std::string(attachments) + "}";
}

constexpr auto photos = R"(["media/one.png","media/two.png"])";
constexpr auto activity = R"({"activityID":"A1","title":"Morning run","activityType":"running",
    "startedAt":"2026-03-01 09:30:00 +0000","summary":"Along the river","notes":"Felt light",
    "locationSummary":"Isar","captureCount":2,"events":[{"relativePath":"media/river.png"},{}]})";

class MobilePackageTest : public ::testing::Test {
  protected:
    MobilePackageTest() {
        world_.cloud.available = true;
        std::filesystem::create_directories(world_.cloud.inbox());
    }
    void writeNote(const Path& package, std::string_view manifest) {
        inbox_.dropInCloud(package / "note.json", manifest);
    }
    void writePhotos(const Path& package) {
        inbox_.dropInCloud(package / "media/one.png", "\x89PNG one");
        inbox_.dropInCloud(package / "media/two.png", "\x89PNG two");
    }

    TestPlatform world_;
    InboxHarness inbox_{world_};
};

TEST_F(MobilePackageTest, ANoteAndItsPhotosBecomeMemoriesOnceAllOfItIsHere) {
    inbox_.start();
    writeNote("n.crumbnote", note("N1", "Plum jam\\nfor winter", photos));
    inbox_.dropInCloud("n.crumbnote/media/one.png", "\x89PNG one");
    inbox_.dropInCloud("n.crumbnote/media/two.png.nextcloud", "");
    inbox_.advance(40);
    EXPECT_TRUE(inbox_.store->items()->empty());
    EXPECT_EQ(world_.cloud.requested,
              std::vector{inbox_.cloudInbox() / "n.crumbnote/media/two.png"});
    inbox_.dropInCloud("n.crumbnote/media/two.png", "");
    std::filesystem::remove(inbox_.cloudInbox() / "n.crumbnote/media/two.png.nextcloud");
    inbox_.advance(20);
    EXPECT_TRUE(inbox_.store->items()->empty()) << "an empty photo is still on its way";

    inbox_.dropInCloud("n.crumbnote/media/two.png", "\x89PNG two");
    int mostUnderWay = 0;
    const auto counts = inbox_.store->cloudImportCount().subscribe(
        [&](int count) { mostUnderWay = std::max(mostUnderWay, count); });
    inbox_.advance(20);
    EXPECT_EQ(inbox_.titles(), (Names{"Plum jam", "one", "two"}));
    const auto item = inbox_.find("Plum jam");
    ASSERT_TRUE(item);
    EXPECT_EQ(item->kind, CrumbKind::text);
    EXPECT_EQ(item->text, "Plum jam\nfor winter");
    EXPECT_TRUE(item->searchableText.starts_with("mobile-note-id:N1"));
    EXPECT_EQ(toIso8601(item->createdAt), "2026-03-01T09:30:00Z");
    for (const char* photo : {"one", "two"}) {
        EXPECT_EQ(inbox_.find(photo)->kind, CrumbKind::image);
        EXPECT_EQ(inbox_.find(photo)->sourceItemID, item->id);
    }
    EXPECT_EQ(inbox_.notices.back(), "Note with photos received");
    EXPECT_EQ(mostUnderWay, 1);
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()), Names{});
    EXPECT_FALSE(std::filesystem::exists(inbox_.cloudInbox() / "n.crumbnote"));
    EXPECT_EQ(inbox_.disorder(), "");
}

TEST_F(MobilePackageTest, ANoteThatArrivesTwiceIsTakenOnceAndAnotherUnderItsNameStays) {
    inbox_.start();
    for (const char* package : {"a.crumbnote", "b.crumbnote"}) {
        writeNote(package, note("N1", "Plums", photos));
        writePhotos(package);
        inbox_.advance(20);
    }
    EXPECT_EQ(inbox_.titles(), (Names{"Plums", "one", "two"}));
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()), Names{});

    writeNote("c.crumbnote", note("N1", "Pears", photos));
    writePhotos("c.crumbnote");
    inbox_.advance(100);
    EXPECT_EQ(inbox_.store->items()->size(), 3u);
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()).size(), 3u) << "its text is nowhere else";

    writeNote("left.crumbnote", note("N1", "Plums", photos));
    inbox_.dropInCloud("left.crumbnote/media/two.png", "\x89PNG two");
    inbox_.advance(20);
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()).size(), 3u) << "what is left of it goes, too";

    inbox_.store->remover().deleteMemories({inbox_.find("Plums")->id, inbox_.find("one")->id});
    inbox_.advance(1);
    writeNote("d.crumbnote", note("N1", "Plums", photos));
    writePhotos("d.crumbnote");
    inbox_.advance(20);
    EXPECT_EQ(inbox_.titles(), Names{"two"}) << "what was removed does not come back";
}

TEST_F(MobilePackageTest, EmptyTextAndWhatTheNoteDoesNotName) {
    inbox_.start();
    writeNote("n.CrumbNote", note("N1", " ", R"(["media/one.png"])"));
    writePhotos("n.CrumbNote");
    inbox_.advance(20);
    EXPECT_EQ(inbox_.titles(), (Names{"Photo Note", "one"}));
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()), Names{"n.CrumbNote/media/two.png"});
}

TEST_F(MobilePackageTest, HostilePackagesStayAndReachNothing) {
    world_.folder.write("drive/iCloud.com.kestrel.Nookery/secret.png", "\x89PNG secret");
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    const Names manifests{
        "",
        "{",
        "[]",
        "null",
        "{}",
        deep,
        std::string(17 << 20, ' ') + note("1", "t"),
        "\xff\xfe{}",
        R"({"schemaVersion":"1","kind":"n","noteID":"1","createdAt":"","text":"","attachments":[]})",
        R"({"schemaVersion":1,"kind":"n","noteID":7,"createdAt":"","text":"","attachments":[]})",
        R"({"schemaVersion":1,"kind":"n","noteID":"1","createdAt":"","text":[],"attachments":[]})",
        R"({"schemaVersion":1,"kind":"n","noteID":"1","createdAt":"","text":"t"})",
        note("with blank", "t"),
        note("", "t"),
        note(std::string(5000, 'x'), "t"),
        note("1", "t", R"("media/one.png")"),
        note("1", "t", R"([1])"),
        note("1", "t", R"(["media/../../../secret.png"])"),
        note("1", "t", R"(["/etc/passwd"])"),
        note("1", "t", R"(["../../secret.png"])"),
        note("1", "t", R"(["media"])"),
        note("1", "t", R"(["media/"])"),
        note("1", "t", R"(["media//one.png"])"),
        note("1", "t", R"(["media/./one.png"])"),
        note("1", "t", R"(["media/one.png\u0000"])"),
        note("1", "t", R"(["media/link.png"])"),
        note("1", "t", R"(["media/way/secret.png"])"),
        note("1", "t", "[" + std::string(200'000, ' ') + R"("media/absent.png"])")};
    inbox_.start();
    for (std::size_t i = 0; i < manifests.size(); ++i) {
        const Path package = "n" + std::to_string(i) + ".crumbnote";
        writeNote(package, manifests[i]);
        writePhotos(package);
        const Path media = inbox_.cloudInbox() / package / "media";
        std::filesystem::create_symlink("../../../../secret.png", media / "link.png");
        std::filesystem::create_directory_symlink("../../../..", media / "way");
    }
    inbox_.advance(100);
    EXPECT_EQ(inbox_.titles(), Names{});
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()).size(), manifests.size() * 4) << "the links, too";
    EXPECT_TRUE(world_.log.contains("Crumb note package manifest invalid: "));
    EXPECT_LE(world_.log.lines.size(), manifests.size()) << "each is told once";
    EXPECT_EQ(inbox_.disorder(), "");
}

TEST_F(MobilePackageTest, AnActivityIsPreservedWholeAndCanBeRemoved) {
    inbox_.start();
    inbox_.dropInCloud("Run.crumbactivity/activity.json", activity);
    inbox_.advance(20);
    EXPECT_TRUE(inbox_.store->items()->empty()) << "an event's file is not here yet";
    inbox_.dropInCloud("Run.crumbactivity/media/river.png", "\x89PNG river");
    inbox_.dropInCloud("Run.crumbactivity/track/points.csv", "1,2");
    inbox_.advance(20);
    const auto item = inbox_.find("Morning run");
    ASSERT_TRUE(item);
    EXPECT_EQ(item->kind, CrumbKind::activity);
    EXPECT_EQ(item->searchableText, "__crumb_activity__");
    for (const char* part : {"Along the river", "Felt light", "running", "Isar", "Captures: 2",
                             "Crumb Mobile Activity"}) {
        EXPECT_NE(item->text->find(part), std::string::npos) << part;
    }
    EXPECT_EQ(toIso8601(item->createdAt), "2026-03-01T09:30:00Z");
    EXPECT_EQ(inbox_.left(*item->filePath),
              (Names{"activity.json", "media/river.png", "track/points.csv"}));
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()), Names{});
    EXPECT_EQ(inbox_.notices.back(), "Activity received");

    inbox_.dropInCloud("Run.crumbactivity/activity.json", R"({"title":"Evening run"})");
    inbox_.advance(20);
    EXPECT_TRUE(inbox_.find("Evening run")->filePath->ends_with("Run (2).crumbactivity"));
    EXPECT_EQ(inbox_.disorder(), "");

    inbox_.drop("river.png", "\x89PNG river");
    inbox_.advance(5);
    EXPECT_TRUE(inbox_.find("river")) << "a picture inside an activity is no memory of its own";

    inbox_.store->remover().deleteMemories({item->id});
    inbox_.advance(1);
    EXPECT_EQ(inbox_.left(world_.folder / "trash").size(), 3u);
    inbox_.store->remover().clearLibrary();
    inbox_.advance(1);
    EXPECT_EQ(inbox_.left(world_.layout().items()), Names{});
    EXPECT_EQ(inbox_.disorder(), "");
}

TEST_F(MobilePackageTest, AnActivityThatCannotBeReadStays) {
    inbox_.start();
    inbox_.dropInCloud("Run.crumbactivity/activity.json", R"({"captureCount":"many"})");
    inbox_.dropInCloud("Bad.crumbactivity/activity.json",
                       R"({"events":[{"relativePath":"../../secret"}],"captureCount":1.5})");
    inbox_.advance(100);
    EXPECT_EQ(inbox_.left(inbox_.cloudInbox()).size(), 2u);
    EXPECT_TRUE(world_.log.contains("Crumb could not preserve Activity package at "));
    EXPECT_EQ(inbox_.disorder(), "");
}

TEST(MobileDates, ComeInSeveralForms) {
    const Timestamp now{1'800'000'000};
    const auto read = [&](std::string_view text) {
        const auto date = parseMobileDate(text, now);
        return date ? toIso8601(*date) : "none";
    };
    for (const char* text : {"2026-03-01T09:30:00Z", "2026-03-01T10:30:00+01:00",
                             "2026-03-01 09:30:00 +0000", " 2026-03-01T09:30:00.000Z ",
                             "1772357400", "1772357400000", "794050200", "794050200.0"}) {
        EXPECT_EQ(read(text), "2026-03-01T09:30:00Z") << text;
    }
    EXPECT_EQ(read("2026-03-01"), "2026-03-01T00:00:00Z");
    for (const char* text : {"", "yesterday", "2026-02-30T00:00:00Z", "nan", "1e400", "-5",
                             "0001-01-01T00:00:00Z", "9999-01-01T00:00:00Z", "1772357400 or so"}) {
        EXPECT_EQ(read(text), "none") << text;
    }
}

/// Takes a file, a note with photos and an activity, with a fault at each file operation in turn.
class InboxFaults : public ::testing::TestWithParam<Fault> {};

TEST_P(InboxFaults, AtEveryOperationLoseNothingAndTakeNothingTwice) {
    for (int k = 1;; ++k) {
        TestPlatform world;
        InboxHarness first(world);
        first.drop("trip/a.txt", "apples");
        first.drop("n.crumbnote/note.json", note("N1", "Plums", photos));
        first.drop("n.crumbnote/media/one.png", "\x89PNG one");
        first.drop("n.crumbnote/media/two.png", "\x89PNG two");
        first.drop("Run.crumbactivity/activity.json", activity);
        first.drop("Run.crumbactivity/media/river.png", "\x89PNG river");
        first.start();
        world.files.arm(GetParam(), k);
        try {
            first.advance(4);
        } catch (const SimulatedCrash&) {
            world.files.losePower();
        }
        const bool isReached = world.files.operationCount() >= k;
        world.files.disarm();
        first.close();

        TestPlatform restarted;
        InboxHarness second(restarted, world);
        second.start();
        second.advance(60);
        EXPECT_EQ(second.titles(), (Names{"Morning run", "Plums", "a", "one", "two"}))
            << "step " << k;
        EXPECT_EQ(second.left(second.inbox()), Names{}) << "step " << k;
        EXPECT_EQ(second.disorder(), "") << "step " << k;
        if (::testing::Test::HasFailure()) return;
        if (!isReached) {
            EXPECT_GT(k, 40);
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, InboxFaults,
                         ::testing::Values(Fault::fail, Fault::diskFull, Fault::crash));

}  // namespace
}  // namespace nookery
