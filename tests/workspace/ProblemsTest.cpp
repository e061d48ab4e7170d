#include "workspace/Problems.h"

#include <gtest/gtest.h>

#include <thread>

#include "support/TestPlatform.h"

namespace nookery {
namespace {

constexpr std::string_view pngMark = "\x89PNG\r\n\x1a\n";

/// As the first version of the program that had a sidecar made it.
constexpr const char* firstSidecarSchema = R"sql(
CREATE TABLE originals (path BLOB PRIMARY KEY NOT NULL, memory_id TEXT NOT NULL,
    digest BLOB NOT NULL, byte_count INTEGER NOT NULL,
    modified_nanoseconds INTEGER NOT NULL) WITHOUT ROWID;
CREATE INDEX idx_originals_digest ON originals(digest);
CREATE TABLE pending_originals (path BLOB PRIMARY KEY NOT NULL) WITHOUT ROWID;
CREATE TABLE pending_work (number INTEGER PRIMARY KEY AUTOINCREMENT, memory_id TEXT NOT NULL,
    task TEXT NOT NULL, attempts INTEGER NOT NULL DEFAULT 0, last_failure TEXT,
    UNIQUE (memory_id, task));
CREATE TABLE state (key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL) WITHOUT ROWID;
PRAGMA user_version=1;
)sql";

class ProblemsTest : public ::testing::Test {
  protected:
    ProblemsTest() {
        world_.log.problemLog = &log_;
        open();
    }
    ~ProblemsTest() override { world_.log.problemLog = nullptr; }

    void open(LibraryAccess access = LibraryAccess::writing) {
        problems_.reset();
        store_.reset();
        store_ = std::make_unique<CrumbStore>(platform_, world_.layout(), access);
        problems_ = std::make_unique<Problems>(platform_, world_.layout(), log_, *store_);
        world_.resultOf(store_->open(SessionLength::oneCommand));
        problems_->load();
    }
    Uuid capture(const std::string& name, const std::string& content) {
        const Path file = world_.folder.write(name, content);
        return world_.resultOf(store_->capture({.sources = {CaptureFile{file}}})).added.at(0);
    }
    void readAgain(const Uuid& id) {
        store_->enrichment().request({id});
        store_->enrichment().start();
        world_.time.advance(1);
    }
    Problem inboxProblem(const std::string& name) {
        return {{ProblemKind::inbox, world_.folder / name, {}}, name + " stays", "Look at it."};
    }
    void report(const Problem& problem) {
        log_.report(problem);
        world_.time.advance(1);
    }
    const ProblemList& shown() { return *problems_->all(); }

    testing::TestPlatform world_;
    ProblemLog log_{world_.log};
    Platform platform_ = world_.platform();
    std::unique_ptr<CrumbStore> store_;
    std::unique_ptr<Problems> problems_;
};

TEST_F(ProblemsTest, AnOriginalThatCannotBeReadIsOneProblemUntilItCanBeOrIsGone) {
    const std::string damaged = std::string(pngMark) + "damaged";
    const Uuid id = capture("bad.png", damaged);
    const Uuid other = capture("worse.png", damaged + " damaged");
    readAgain(id);
    readAgain(other);
    ASSERT_EQ(shown().size(), 2U);
    readAgain(id);
    ASSERT_EQ(shown().size(), 2U);
    const KnownProblem known = shown().front();
    EXPECT_EQ(known.problem.subject.memoryID, id);
    EXPECT_EQ(known.problem.message, "bad.png could not be read: The picture is damaged.");
    EXPECT_GE(known.count, 2);
    EXPECT_LT(known.firstSeen, known.lastSeen);
    const OrderedJson json = toJson(known);
    EXPECT_EQ(json["what"], "original");
    EXPECT_EQ(json["path"], *store_->item(id)->filePath);

    open();
    ASSERT_EQ(shown().size(), 2U);
    EXPECT_EQ(shown().front(), known) << "with its history";
    world_.folder.write("data/Crumb/Items/bad.png", std::string(pngMark) + "whole");
    readAgain(id);
    ASSERT_EQ(shown().size(), 1U);
    EXPECT_EQ(shown().front().problem.subject.memoryID, other);
    world_.resultOf(store_->remover().deleteMemories({other}));
    EXPECT_TRUE(shown().empty());
    open();
    EXPECT_TRUE(shown().empty());
}

TEST_F(ProblemsTest, ADismissedProblemComesBackWhenItHappensAnew) {
    report(inboxProblem("a.txt"));
    report(inboxProblem("b.txt"));
    const std::string id = shown().back().id;
    EXPECT_TRUE(problems_->dismiss(id));
    EXPECT_FALSE(problems_->dismiss("none"));
    open();
    EXPECT_TRUE(shown().back().isDismissed);
    EXPECT_FALSE(shown().front().isDismissed);
    Problem again = inboxProblem("a.txt");
    again.message = "for another reason";
    report(again);
    ASSERT_EQ(shown().size(), 2U);
    EXPECT_EQ(shown().front().id, id);
    EXPECT_EQ(shown().front().count, 2);
    EXPECT_EQ(shown().front().problem.message, "for another reason");
    EXPECT_FALSE(shown().front().isDismissed);
    problems_->dismissAll();
    log_.mended(again.subject);
    world_.time.settle();
    EXPECT_EQ(shown().size(), 1U);
    EXPECT_TRUE(shown().front().isDismissed);
}

TEST_F(ProblemsTest, WhatHappensBeforeTheLibraryIsOpenIsNotForgotten) {
    report(inboxProblem("mended.txt"));
    report(inboxProblem("again.txt"));
    const Timestamp first = shown().front().firstSeen;
    problems_.reset();
    store_.reset();
    world_.time.advance(60);
    log_.mended(inboxProblem("mended.txt").subject);
    log_.report(inboxProblem("again.txt"));
    log_.report(inboxProblem("new.txt"));
    open();
    ASSERT_EQ(shown().size(), 2U);
    for (const KnownProblem& known : shown()) {
        const bool isNew = known.problem == inboxProblem("new.txt");
        EXPECT_EQ(known.count, isNew ? 1 : 2);
        EXPECT_EQ(known.firstSeen == first, !isNew);
    }
    open(LibraryAccess::reading);
    EXPECT_EQ(shown().size(), 2U) << "who only reads sees them, too";
}

TEST_F(ProblemsTest, ASaveThatFailsIsToldOfUntilOneSucceeds) {
    const Uuid id = capture("a.txt", "text");
    const auto tag = [&] {
        store_->memoryEdits().setManualTags(id, {"x"}, [](const SaveFailure&) {});
        world_.time.settle();
    };
    world_.defaults.refusesChanges = true;
    tag();
    ASSERT_EQ(shown().size(), 1U);
    EXPECT_EQ(shown().front().problem.subject.kind, ProblemKind::settings);
    world_.defaults.refusesChanges = false;
    tag();
    EXPECT_TRUE(shown().empty());
}

TEST_F(ProblemsTest, WhatIsLeftOfARemovalIsToldOfUntilALaterSessionRemovesIt) {
    const Uuid id = capture("a.txt", "text");
    world_.trash.isFull = true;
    world_.resultOf(store_->remover().deleteMemories({id}));
    ASSERT_EQ(shown().size(), 1U);
    EXPECT_EQ(toJson(shown().front())["what"], "removal");
    open();
    EXPECT_EQ(shown().front().count, 2);
    world_.trash.isFull = false;
    open();
    EXPECT_TRUE(shown().empty());
    EXPECT_TRUE(world_.folder.filesBelow("data/Crumb/Items").empty());
    EXPECT_EQ(world_.folder.read("trash/a.txt"), "text");
}

TEST_F(ProblemsTest, WhatAnEarlierSessionLeftInTheInboxGoesWhenALookFindsItGone) {
    const auto problemAt = [&](const char* name) {
        return Problem{{ProblemKind::inbox, world_.layout().inbox() / name, {}}, "stays", ""};
    };
    world_.folder.write("data/Crumb/Inbox/there.txt", "text");
    report(problemAt("there.txt"));
    report(problemAt("taken out.txt"));
    const auto look = [&] { log_.surveyed({ProblemKind::inbox, "elsewhere", {}}); };
    look();
    open();
    EXPECT_EQ(shown().size(), 2U);
    store_->inboxes().start();
    world_.time.settle();
    ASSERT_EQ(shown().size(), 1U);
    EXPECT_EQ(shown().front().problem, problemAt("there.txt"));
    world_.time.advance(10);
    EXPECT_TRUE(shown().empty()) << "it was taken in";
}

TEST_F(ProblemsTest, ALibraryThatCannotBeOpenedIsOneUntilItCan) {
    problems_.reset();
    store_.reset();
    const Path database = world_.layout().database();
    world_.realFiles->rename(database, database.native() + ".good");
    world_.folder.write("data/Crumb/crumb.sqlite3", std::string(200, 'x'));
    open();
    ASSERT_EQ(shown().size(), 1U);
    EXPECT_EQ(shown().front().problem.subject.kind, ProblemKind::opening);
    problems_.reset();
    store_.reset();
    world_.realFiles->rename(database.native() + ".good", database);
    open();
    EXPECT_TRUE(shown().empty());
}

TEST_F(ProblemsTest, AnOlderSidecarGainsTheTableAndKeepsWhatItHas) {
    problems_.reset();
    store_.reset();
    const Path path = world_.layout().sidecar();
    world_.realFiles->removeFile(path);
    {
        auto older = SqliteConnection::open(path, SqliteAccess::readWriteCreate);
        older.execute(firstSidecarSchema);
        older.execute("INSERT INTO state (key, value) VALUES ('kept', x'41');");
    }
    open(LibraryAccess::reading);
    EXPECT_TRUE(shown().empty());
    open();
    EXPECT_TRUE(shown().empty());
    report(inboxProblem("a.txt"));
    open();
    EXPECT_EQ(shown().size(), 1U);
    store_->changeSidecar([](Sidecar& sidecar) { EXPECT_EQ(sidecar.state("kept"), "A"); });
}

TEST_F(ProblemsTest, OnlyTheLatestFiveHundredAreKept) {
    for (int i = 0; i < 501; ++i) {
        log_.report(inboxProblem(std::to_string(i)));
        world_.time.advance(1);
    }
    open();
    ASSERT_EQ(shown().size(), 500U);
    EXPECT_EQ(shown().back().problem, inboxProblem("1"));
}

TEST(ProblemLog, NewsComeInFromAnyThreadWhileSomeAreTaken) {
    testing::RecordingLog lines;
    ProblemLog log(lines);
    std::atomic<int> calls = 0;
    log.setListener([&] { ++calls; });
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&log] {
            for (int i = 0; i < 500; ++i) log.report({{.kind = ProblemKind::snapshot}, "m", "a"});
        });
    }
    std::size_t taken = 0;
    while (taken < 1500) taken += log.take().size();
    for (std::thread& thread : threads) thread.join();
    EXPECT_GE(calls, 1);
    EXPECT_TRUE(log.take().empty());
}

}  // namespace
}  // namespace nookery
