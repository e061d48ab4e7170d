#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <thread>

#include "cli/NameWatch.h"
#include "cli/NookeryProgram.h"
#include "cli/resident/Conversation.h"
#include "foundation/Json.h"

namespace nookery {
namespace {

using testing::NameWatch;
using testing::NookeryProgram;
using testing::Outcome;

class ResidentTest : public ::testing::Test {
  protected:
    ResidentTest() {
        nookery.workAlone();
        ::mkdir((nookery.home / ".run").c_str(), 0700);
        ::mkdir(sockets().c_str(), 0700);
        id = nookery.json({"add", "--text", "Lemon cake\nfor Sunday"})["added"][0]["id"];
    }
    Path sockets() const { return nookery.home / ".run/nookery"; }
    /// A resident that the test can send signals to.
    std::unique_ptr<NookeryProgram::Running> startWatching() const {
        const NameWatch names(sockets());
        auto running = nookery.start({"watch"});
        names.waitFor(1);
        return running;
    }
    std::vector<Path> listSockets() const {
        std::vector<Path> found;
        for (const auto& entry : std::filesystem::directory_iterator(sockets())) {
            found.push_back(entry.path());
        }
        return found;
    }
    Path socket() const { return listSockets().at(0); }
    Json count() const { return nookery.json({"list"})["count"]; }

    NookeryProgram nookery;
    std::string id;
};

TEST_F(ResidentTest, AnswersAsTheCommandAloneWouldWhereverTheCallerIs) {
    const std::vector<std::vector<std::string>> commands{{"list"},
                                                         {"show", id},
                                                         {"show", id, "--json"},
                                                         {"bring-back", "list"},
                                                         {"list", "--kind", "none"},
                                                         {"tag", "nothing", "--add", "x"},
                                                         {"group", "list"},
                                                         {"undo", "--list"}};
    const std::map<std::string, std::string> elsewhere{{"TZ", "Asia/Kathmandu"},
                                                       {"LC_ALL", "de_DE.UTF-8"}};
    nookery.json({"bring-back", id, "2031-05-01T20:00:00Z"});
    const auto answers = [&] {
        std::vector<Outcome> outcomes;
        for (const auto& words : commands) {
            outcomes.push_back(nookery.run(words, {.environment = elsewhere}));
        }
        return outcomes;
    };
    const auto alone = answers();
    nookery.beginWatching();
    const auto beside = answers();
    for (std::size_t i = 0; i < commands.size(); ++i) {
        EXPECT_EQ(beside[i].out, alone[i].out) << ::testing::PrintToString(commands[i]);
        EXPECT_EQ(beside[i].error, alone[i].error) << ::testing::PrintToString(commands[i]);
        EXPECT_EQ(beside[i].status, alone[i].status) << ::testing::PrintToString(commands[i]);
    }
    nookery.home.write("in/note.txt", "named from where the caller is");
    const std::string program = nookery.program;
    nookery.program = "/bin/sh";
    const Outcome added = nookery.run({"-c", "cd in && exec \"$0\" add note.txt", program});
    nookery.program = program;
    EXPECT_EQ(added.status, 0) << added.error;
    const Outcome lost = nookery.run({"list"}, {.environment = {{"TZ", "Mars/Olympus"}}});
    EXPECT_EQ(lost.status, 1);
    EXPECT_NE(lost.error.find("Mars/Olympus"), std::string::npos) << lost.error;
}

TEST_F(ResidentTest, IsThereForItsUserAloneUntilItIsStopped) {
    nookery.beginWatching();
    struct stat status {};
    ASSERT_EQ(::stat(socket().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(nookery.json({"watch", "--background"})["started"], false);
    EXPECT_EQ(nookery.run({"watch"}).status, 1) << "a second one in the foreground";
    EXPECT_EQ(nookery.run({"watch", "--stop"}).status, 0);
    EXPECT_TRUE(listSockets().empty());
    EXPECT_EQ(nookery.run({"watch", "--stop"}).status, 1);
    EXPECT_EQ(count(), 1);
}

TEST_F(ResidentTest, WhatItWasKilledAtDoesNotStandInTheWay) {
    const auto killed = startWatching();
    killed->signal(SIGKILL);
    EXPECT_EQ(killed->finish().status, 128 + SIGKILL);
    EXPECT_EQ(listSockets().size(), 1U) << "the socket is left";
    EXPECT_EQ(nookery.run({"add", "--text", "alone"}).status, 0);
    nookery.beginWatching();
    EXPECT_EQ(nookery.run({"add", "--text", "beside"}).status, 0);
    EXPECT_EQ(count(), 3);
}

TEST_F(ResidentTest, ACallerWhoVanishesEndsWhatItAskedFor) {
    constexpr int fileCount = 600;
    nookery.home.write("first.txt", "first");
    nookery.json({"add", "first.txt"});
    for (int i = 0; i < fileCount; ++i) {
        const std::string number = std::to_string(i);
        nookery.home.write("many/" + number + ".txt", "file number " + number);
    }
    const auto watching = startWatching();
    const NameWatch names(nookery.library / "Items");
    const auto caller = nookery.start({"add", "many"});
    names.waitFor(50);
    caller->signal(SIGKILL);
    EXPECT_EQ(nookery.run({"watch", "--stop"}).status, 0) << "waits for what still runs";
    EXPECT_EQ(watching->finish().status, 0);
    const auto added = count().get<std::size_t>();
    EXPECT_LT(added, std::size_t{fileCount});
    EXPECT_EQ(nookery.home.filesBelow(".local/share/Crumb/Items").size(), added - 1);
    EXPECT_EQ(nookery.run({"verify"}).status, 0);
}

TEST_F(ResidentTest, SearchesOfSeveralCallersDoNotAnswerEachOther) {
    nookery.beginWatching();
    const auto one = nookery.start({"search", "--batch"});
    const auto other = nookery.start({"search", "--batch"});
    for (int i = 0; i < 10; ++i) {
        one->type("lemon");
        other->type("nothing like it");
        const Json first = parseJson(one->hear());
        const Json second = parseJson(other->hear());
        EXPECT_EQ(first["query"], "lemon");
        EXPECT_EQ(first["total"], 1);
        EXPECT_EQ(second["query"], "nothing like it");
        EXPECT_EQ(second["total"], 0);
    }
}

TEST_F(ResidentTest, AnInterruptEndsTheCommandAndOneOfTheResidentEndsAllOfThem) {
    const auto watching = startWatching();
    const auto interrupted = nookery.start({"search", "--batch"});
    const auto waiting = nookery.start({"search", "--batch"});
    for (const auto* caller : {&interrupted, &waiting}) {
        (*caller)->type("lemon");
        EXPECT_EQ(parseJson((*caller)->hear())["total"], 1);
    }
    interrupted->signal(SIGINT);
    EXPECT_EQ(interrupted->finishWhileItWaits().status, 130);
    waiting->type("nothing like it");
    EXPECT_EQ(parseJson(waiting->hear())["total"], 0);
    watching->signal(SIGINT);
    EXPECT_EQ(watching->finish().status, 0);
    const Outcome ended = waiting->finishWhileItWaits();
    EXPECT_EQ(ended.status, 130);
    EXPECT_NE(ended.error.find("whatever was done is whole"), std::string::npos) << ended.error;
    EXPECT_EQ(count(), 1);
}

TEST_F(ResidentTest, NobodyWhoWaitsForInputKeepsItFromEnding) {
    nookery.beginWatching();
    const auto waiting = nookery.start({"search", "--batch"});
    waiting->type("lemon");
    EXPECT_EQ(parseJson(waiting->hear())["total"], 1);
    EXPECT_EQ(nookery.run({"watch", "--stop"}).status, 0);
    EXPECT_EQ(waiting->finishWhileItWaits().status, 130);
}

TEST_F(ResidentTest, ReadsWhatTheCallerCallsItsStandardInput) {
    nookery.beginWatching();
    nookery.home.write("notes.jsonl", "{\"text\":\"one\"}\n{\"text\":\"two\"}\n");
    const std::string program = nookery.program;
    nookery.program = "/bin/sh";
    const Outcome file =
        nookery.run({"-c", "exec \"$0\" import /dev/stdin < notes.jsonl", program});
    const Outcome pipe = nookery.run({"-c", "cat notes.jsonl | \"$0\" import /dev/stdin", program});
    nookery.program = program;
    EXPECT_EQ(file.status, 0) << file.error;
    EXPECT_EQ(pipe.status, 1);
    EXPECT_NE(pipe.error.find("/dev/stdin"), std::string::npos) << pipe.error;
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(nookery.json({"import", "-"}, {.input = "{\"text\":\"three\"}"})["added"], 1);
}

TEST_F(ResidentTest, TakesFromTheInboxWhenToldToAndGoesOnWatchingIt) {
    nookery.beginWatching();
    const Path inbox = ".local/share/Crumb/Inbox";
    nookery.home.write(inbox / "letter.txt", "Dear Ann");
    nookery.home.write(inbox / "film.part", "half");
    const Json taken = nookery.json({"inbox", "take"});
    EXPECT_EQ(taken["waiting"].size(), 1U) << taken;
    EXPECT_EQ(count(), 2);
    const NameWatch names(nookery.library / "Items");
    nookery.home.write(inbox / "second.txt", "Dear Bob");
    names.waitFor(1);
    nookery.json({"inbox", "take"});
    EXPECT_EQ(nookery.home.filesBelow(inbox), std::vector<std::string>{"film.part"});
    EXPECT_EQ(count(), 3);
}

TEST_F(ResidentTest, LendsTheLibraryForARestoreAndGoesOn) {
    const std::string snapshot = nookery.json({"snapshot", "take"})["name"];
    const auto watching = startWatching();
    nookery.json({"add", "--text", "later"});
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(nookery.json({"snapshot", "restore", snapshot, "--yes"})["restored"], true);
    EXPECT_EQ(count(), 1);
    EXPECT_EQ(nookery.run({"add", "--text", "anew"}).status, 0);
    EXPECT_EQ(nookery.run({"watch", "--stop"}).status, 0);
    const Outcome watched = watching->finish();
    EXPECT_EQ(watched.status, 0) << watched.error;
    EXPECT_NE(watched.out.find(" lent: "), std::string::npos) << watched.out;
    EXPECT_EQ(count(), 2);
}

TEST_F(ResidentTest, ACallerWithOtherPlacesReadsForItself) {
    nookery.beginWatching();
    const std::map<std::string, std::string> other{
        {"NOOKERY_CONFIG_HOME", (nookery.home / "settings").native()}};
    EXPECT_EQ(nookery.json({"list"}, {.environment = other})["count"], 1);
    const Outcome refused = nookery.run({"add", "--text", "x"}, {.environment = other});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.error.find("in use by process "), std::string::npos) << refused.error;
}

/// Listens in a resident's place, as a program of another version would.
class OtherVersion {
  public:
    explicit OtherVersion(const Path& place) : listening_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        place.native().copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(listening_, reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(::listen(listening_, 1), 0);
        server_ = std::thread([this, place] { serve(place); });
    }
    ~OtherVersion() {
        server_.join();
        ::close(listening_);
    }
    const std::string& wish() const { return wish_; }

  private:
    void serve(const Path& place) {
        const int connected = ::accept(listening_, nullptr, nullptr);
        const std::string greeting = cli::encoded(cli::MessageKind::greeting, R"({"version":"0"})");
        EXPECT_EQ(::send(connected, greeting.data(), greeting.size(), 0),
                  static_cast<ssize_t>(greeting.size()));
        std::array<char, 64> bytes{};
        const ssize_t count = ::recv(connected, bytes.data(), bytes.size(), 0);
        wish_.assign(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        ::unlink(place.c_str());
        ::close(connected);
    }

    int listening_;
    std::string wish_;
    std::thread server_;
};

TEST_F(ResidentTest, OneOfAnotherVersionIsAskedToEndAndTheCommandRunsAlone) {
    nookery.beginWatching();
    const Path place = socket();
    EXPECT_EQ(nookery.run({"watch", "--stop"}).status, 0);
    const OtherVersion other(place);
    EXPECT_EQ(nookery.run({"add", "--text", "alone"}).status, 0);
    EXPECT_EQ(other.wish(), cli::encoded(cli::MessageKind::end));
    EXPECT_EQ(count(), 2);
}

}  // namespace
}  // namespace nookery
