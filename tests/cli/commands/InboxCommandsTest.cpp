#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>

#include "cli/NameWatch.h"
#include "cli/NookeryProgram.h"

namespace nookery {
namespace {

using testing::NameWatch;
using testing::NookeryProgram;
using testing::Outcome;

constexpr auto note = R"({"schemaVersion":1,"kind":"note","noteID":"N1",
    "createdAt":"2026-03-01T09:30:00Z","text":"Plums","attachments":["media/p.png"]})";

std::vector<std::string> whatIn(const Json& answer) {
    std::vector<std::string> found;
    for (const Json& problem : answer.at("problems")) found.push_back(problem.at("what"));
    std::sort(found.begin(), found.end());
    return found;
}

TEST(InboxTake, TakesFromBothInboxesAndNamesWhatStays) {
    NookeryProgram nookery;
    nookery.workAlone();  // nobody else takes it before
    const testing::RunOptions cloud{
        .environment = {{"NOOKERY_CLOUD_HOME", nookery.home / "drive"}}};
    EXPECT_TRUE(nookery.json({"inbox", "take"}).at("added").empty());
    nookery.home.write(".local/share/Crumb/Inbox/trip/letter.txt", "Dear Ann");
    nookery.home.write(".local/share/Crumb/Inbox/film.part", "half");
    const Path package = "drive/iCloud.com.kestrel.Nookery/Documents/Inbox/n.crumbnote";
    nookery.home.write(package / "note.json", note);
    nookery.home.write(package / "media/p.png", "\x89PNG\r\n\x1a\n");

    EXPECT_EQ(nookery.json({"stats"}, cloud).at("inboxWaiting").size(), 3u);
    const Json taken = nookery.json({"inbox", "take"}, cloud);
    EXPECT_EQ(taken.at("added").size(), 3u) << taken;
    EXPECT_TRUE(taken.at("failed").empty());
    ASSERT_EQ(taken.at("waiting").size(), 1u);
    EXPECT_TRUE(taken.at("waiting")[0].at("source").get<std::string>().ends_with("film.part"));
    EXPECT_EQ(nookery.home.filesBelow(".local/share/Crumb/Inbox"),
              std::vector<std::string>{"film.part"});
    EXPECT_TRUE(nookery.home.filesBelow("drive").empty());
    EXPECT_EQ(nookery.json({"stats"}, cloud).at("inboxWaiting").size(), 1u);
    EXPECT_EQ(nookery.json({"search", "Plums"}).at("hits").size(), 1u);
    EXPECT_EQ(nookery.json({"search", "N1"}).at("hits").size(), 0u) << "an internal marker";

    nookery.home.write(package / "media/p.png", "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(nookery.json({"stats"}, cloud).at("inboxWaiting").back().at("message"),
              "It waits for its file note.json.");

    nookery.home.write(package / "note.json", "{");
    const Outcome refused = nookery.run({"inbox", "take"}, cloud);
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.error.find("Crumb note package manifest invalid: "), std::string::npos);
    EXPECT_EQ(nookery.json({"stats"}, cloud).at("problems"), 1);
    std::filesystem::remove_all(nookery.home / package);
    nookery.json({"inbox", "take"}, cloud);
    EXPECT_EQ(nookery.json({"stats"}, cloud).at("problems"), 0) << "somebody took it out";
}

TEST(Watch, TakesWhatArrivesTellsItAndEndsCleanlyWhenInterrupted) {
    NookeryProgram nookery;
    nookery.workAlone();
    nookery.json({"add", nookery.home.write("first.txt", "a library")});
    nookery.home.write(".local/share/Crumb/Inbox/before.txt", "there before");
    const NameWatch gone(nookery.library / "Inbox", IN_DELETE);
    const Path snapshots = nookery.library / "Recovery/Snapshots";
    std::filesystem::create_directories(snapshots);
    const NameWatch taken(snapshots, IN_MOVED_TO);
    const auto watching = nookery.start({"watch"});
    taken.waitFor(1);  // the launch snapshot, under its final name
    gone.waitFor("before.txt");
    nookery.home.write(".local/share/Crumb/Inbox/later.txt", "came later");
    gone.waitFor("later.txt");
    watching->signal(SIGINT);
    const Outcome ended = watching->finish();
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_NE(ended.out.find("added: before"), std::string::npos) << ended.out;
    EXPECT_NE(ended.out.find("added: later"), std::string::npos) << ended.out;
    EXPECT_EQ(nookery.json({"list"}).at("count"), 3);
    EXPECT_EQ(nookery.json({"snapshot", "list"}).at("snapshots").at(0).at("reason"), "launch");
    EXPECT_TRUE(nookery.json({"verify"}).at("ok"));
}

TEST(Verify, NamesEveryFaultAndChangesNothing) {
    NookeryProgram nookery;
    nookery.workAlone();
    EXPECT_EQ(nookery.run({"verify"}).status, 1) << "there is no library";
    nookery.json({"add", nookery.home.write("a.txt", "apples"), nookery.home.write("b.txt", "b")});
    nookery.json({"snapshot", "take"});
    EXPECT_TRUE(nookery.json({"verify"}).at("ok"));
    const auto before = nookery.home.filesBelow();
    nookery.json({"verify", "--quick"});
    EXPECT_EQ(nookery.home.filesBelow(), before);

    nookery.home.write(".local/share/Crumb/Items/a.txt", "apqles");
    const Json quick = nookery.json({"verify", "--quick"});
    EXPECT_TRUE(quick.at("ok")) << "its digest is not looked at";
    std::filesystem::remove(nookery.library / "Items/b.txt");
    nookery.home.write(".local/share/Crumb/Items/stray", "?");
    for (const auto& file : nookery.home.filesBelow(".local/share/Crumb/Recovery")) {
        if (file.ends_with("manifest.json")) {
            nookery.home.write(Path(".local/share/Crumb/Recovery") / file, "{}");
        }
    }
    const Outcome found = nookery.run({"--json", "verify"});
    EXPECT_EQ(found.status, 1);
    EXPECT_FALSE(found.json().at("ok"));
    EXPECT_EQ(whatIn(found.json()),
              (std::vector<std::string>{"broken-snapshot", "changed-original", "missing-original",
                                        "unlisted-file"}));
}

}  // namespace
}  // namespace nookery
