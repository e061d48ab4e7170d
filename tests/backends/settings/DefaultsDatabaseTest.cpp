#include "backends/settings/DefaultsDatabase.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "foundation/Base64.h"
#include "foundation/Json.h"
#include "foundation/SqliteConnection.h"
#include "support/FaultyDatabaseFiles.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

using testing::Fault;
using Names = std::vector<std::string>;

constexpr const char* database = "config/nookery/defaults.sqlite3";
constexpr const char* earlier = "config/nookery/defaults.json";
constexpr const char* kept = "config/nookery/defaults.json.migrated";

class DefaultsDatabaseTest : public ::testing::Test {
  protected:
    std::unique_ptr<UserDefaults> open() {
        return openDefaultsDatabase(files, folder / "config/nookery");
    }
    void writeEarlierFile(const std::string& key, const std::string& value) {
        const Json document{{"version", 1}, {"values", {{key, toBase64(value)}}}};
        folder.write(earlier, toPrettyJsonText(document));
    }
    unsigned modeOf(const char* name) const {
        struct stat status {};
        EXPECT_EQ(::stat((folder / name).c_str(), &status), 0) << name;
        return status.st_mode & 0777U;
    }
    void expectRefusal(const std::string& named) {
        try {
            open();
            ADD_FAILURE() << "it was opened";
        } catch (const Error& error) {
            EXPECT_NE(error.description().find((folder / named).native()), std::string::npos)
                << error.description();
        }
    }

    testing::TemporaryDirectory folder{testing::Place::memory};
    std::unique_ptr<FileSystem> real = makePosixFileSystem();
    testing::FaultyFileSystem files{*real};
    const std::string bytes{"\0\xFF any bytes", 12};
};

TEST_F(DefaultsDatabaseTest, KeepsBytesInOneFileOfItsOwnersAndLookingMakesNothing) {
    EXPECT_EQ(open()->get("Crumb.Test.v1"), std::nullopt);
    EXPECT_TRUE(open()->entries("Crumb.Test.v1").empty());
    open()->remove("Crumb.Test.v1");
    EXPECT_FALSE(files.status(folder / "config"));
    open()->set("Crumb.Test.v1", bytes);
    open()->set("Crumb.Empty.v1", "");
    const auto defaults = open();
    EXPECT_EQ(defaults->get("Crumb.Test.v1"), bytes);
    EXPECT_EQ(defaults->get("Crumb.Empty.v1"), "");
    EXPECT_EQ(defaults->keys(), (Names{"Crumb.Empty.v1", "Crumb.Test.v1"}));
    EXPECT_EQ(folder.filesBelow(), Names{database});
    EXPECT_EQ(modeOf(database), 0600U);
    EXPECT_EQ(modeOf("config/nookery"), 0700U);
    defaults->remove("Crumb.Test.v1");
    EXPECT_EQ(open()->get("Crumb.Test.v1"), std::nullopt);
}

TEST_F(DefaultsDatabaseTest, EntriesAndWholeValueAgreeBothWays) {
    const auto defaults = open();
    defaults->set("map", R"({ "b": [2.50], "a\"": "\u00e4", "c": {} })");
    EXPECT_EQ(defaults->get("map"), R"({ "b": [2.50], "a\"": "\u00e4", "c": {} })")
        << "what is only carried stays as it is";
    const std::vector<DefaultsEntry> all{{"a\"", "\"ä\""}, {"b", "[2.5]"}, {"c", "{}"}};
    EXPECT_EQ(defaults->entries("map"), all);
    const Names some{"c", "a\"", "gone"};
    const std::vector<DefaultsEntry> named{all.front(), all.back()};
    EXPECT_EQ(defaults->entries("map", some), named) << "of a value that lies in one piece";
    defaults->changeEntries({{"map", {{"b", std::nullopt}, {"none", std::nullopt}, {"d", " 1 "}}},
                             {"new", {{"x", "[]"}}}});
    for (const auto& each : {open(), open()}) {
        EXPECT_EQ(each->get("map"), "{\"a\\\"\":\"ä\",\"c\":{},\"d\":1}");
        EXPECT_EQ(each->entries("map"),
                  (std::vector<DefaultsEntry>{{"a\"", "\"ä\""}, {"c", "{}"}, {"d", "1"}}));
        EXPECT_EQ(each->entries("map", some), named);
        EXPECT_TRUE(each->entries("new", some).empty());
        EXPECT_TRUE(each->entries("none", some).empty());
        EXPECT_EQ(each->get("new"), R"({"x":[]})");
    }
    defaults->changeEntries({{"new", {{"x", std::nullopt}}}});
    EXPECT_EQ(defaults->get("new"), "{}");
    defaults->set("map", "{}");
    EXPECT_TRUE(defaults->entries("map").empty());
    defaults->changeEntries({{"map", {{"e", "true"}}}});
    EXPECT_EQ(defaults->get("map"), R"({"e":true})") << "an old entry came back";
    defaults->remove("map");
    EXPECT_EQ(defaults->keys(), Names{"new"});
}

TEST_F(DefaultsDatabaseTest, AValueThatIsNoObjectHasNoEntriesAndNothingChanges) {
    const auto defaults = open();
    defaults->set("aaa", "{\"old\":1}");
    for (const std::string& value : {std::string("{\"broken\""), std::string("[1]"), bytes}) {
        defaults->set("key", value);
        EXPECT_THROW(defaults->entries("key"), NoEntriesError);
        EXPECT_THROW(defaults->entries("key", {"x"}), NoEntriesError);
        EXPECT_THROW(defaults->changeEntries({{"aaa", {{"new", "1"}}}, {"key", {{"x", "1"}}}}),
                     NoEntriesError);
        EXPECT_EQ(open()->get("key"), value);
        EXPECT_EQ(open()->get("aaa"), "{\"old\":1}");
    }
    EXPECT_THROW(defaults->changeEntries({{"aaa", {{"new", "no JSON"}}}}), JsonError);
    EXPECT_EQ(open()->get("aaa"), "{\"old\":1}");
}

TEST_F(DefaultsDatabaseTest, AnEarlierFileIsTakenOverByTheFirstChangeAndKeptAside) {
    writeEarlierFile("map", R"({"a":1})");
    const std::string before = folder.read(earlier);
    const auto first = open();
    EXPECT_EQ(first->get("map"), R"({"a":1})");
    EXPECT_EQ(first->entries("map"), (std::vector<DefaultsEntry>{{"a", "1"}}));
    EXPECT_EQ(first->keys(), Names{"map"});
    EXPECT_EQ(folder.filesBelow(), Names{earlier}) << "reading changed something";
    const auto second = open();
    second->changeEntries({{"map", {{"b", "2"}}}});
    EXPECT_EQ(folder.filesBelow(), (Names{kept, database}));
    EXPECT_EQ(folder.read(kept), before);
    first->set("other", "x");
    EXPECT_EQ(first->get("map"), R"({"a":1,"b":2})");
    // An earlier version wrote again: neither file of it is lost, and neither is read.
    writeEarlierFile("map", R"({"stale":1})");
    open()->set("other", "y");
    EXPECT_EQ(open()->get("map"), R"({"a":1,"b":2})");
    EXPECT_EQ(folder.read(kept), before);
    EXPECT_TRUE(files.status(folder / earlier));
}

TEST_F(DefaultsDatabaseTest, ADamagedFileIsNamedAndNeitherOverwrittenNorEmpty) {
    for (const char* damaged :
         {"", "{", "[]", R"({"version":1})", R"({"version":9,"values":{}})",
          R"({"version":1,"values":{"a":"not base64!"}})", R"({"version":1,"values":{"a":1}})"}) {
        folder.write(earlier, damaged);
        expectRefusal(earlier);
        EXPECT_EQ(folder.read(earlier), damaged);
        EXPECT_EQ(folder.filesBelow(), Names{earlier});
    }
    writeEarlierFile("key", "value");
    const auto openedBefore = open();
    folder.write(earlier, "{");
    EXPECT_THROW(openedBefore->set("key", "new"), Error);
    EXPECT_EQ(folder.filesBelow(), Names{earlier});

    for (const std::string& damaged : {std::string(), std::string("no database at all"), bytes}) {
        folder.write(database, damaged);
        expectRefusal(database);
        EXPECT_THROW(openedBefore->get("key"), Error);
        EXPECT_EQ(folder.read(database), damaged);
    }
    std::filesystem::remove(folder / database);
    files.makeUnreadable(folder / earlier);
    expectRefusal(earlier);
}

TEST_F(DefaultsDatabaseTest, ALaterVersionIsRefused) {
    open()->set("key", "value");
    SqliteConnection::open(folder / database, SqliteAccess::readWriteCreate)
        .execute("PRAGMA user_version=2;");
    expectRefusal(database);
}

TEST_F(DefaultsDatabaseTest, ChangesOfSeveralProgramsAndThreadsAreAllKept) {
    constexpr int changeCount = 25;
    writeEarlierFile("map", "{}");
    const auto shared = open();
    const auto other = open();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            UserDefaults& defaults = t < 2 ? *shared : *other;
            for (int i = 0; i < changeCount; ++i) {
                const std::string name = std::to_string(t * changeCount + i);
                defaults.changeEntries({{"map", {{name, "1"}}}});
                EXPECT_NE(defaults.get("map")->find('"' + name + '"'), std::string::npos);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(shared->entries("map").size(), 4U * changeCount);
    EXPECT_EQ(shared->entries("map"), other->entries("map"));
}

/// What the person had, and what a change makes of it.
class DefaultsFaults : public DefaultsDatabaseTest {
  protected:
    void begin(bool fromEarlierFile) {
        std::filesystem::remove_all(folder / "config");
        if (fromEarlierFile) {
            writeEarlierFile("map", "{\"a\":1}");
        } else {
            open()->changeEntries({{"map", {{"a", "1"}}}});
        }
    }
    /// Whether the change was made, after whatever happened to it.
    static bool change(UserDefaults& defaults) {
        try {
            defaults.changeEntries({{"map", {{"b", "2"}}}});
            return true;
        } catch (const Error&) {
            return false;
        } catch (const testing::SimulatedCrash&) {
            return false;
        }
    }
    static bool looksEmpty(const UserDefaults& defaults) {
        try {
            return !defaults.get("map");
        } catch (const Error&) {
            return false;
        }
    }
    void expectOldOrNew(bool changed, const std::string& where) {
        const std::string value = open()->get("map").value_or("nothing");
        EXPECT_TRUE(value == "{\"a\":1,\"b\":2}" || (!changed && value == "{\"a\":1}"))
            << where << ": " << value;
    }
};

TEST_F(DefaultsFaults, AFaultAtAnyStepOfSqliteLeavesTheOldValueAndTheNextChangeSucceeds) {
    for (const bool fromEarlierFile : {false, true}) {
        for (const Fault fault : {Fault::fail, Fault::diskFull}) {
            bool changed = false;
            for (int step = 1; !changed; ++step) {
                begin(fromEarlierFile);
                testing::FaultyDatabaseFiles sqlite;
                const auto defaults = open();
                sqlite.arm(fault, step);
                changed = change(*defaults);
                EXPECT_FALSE(looksEmpty(*defaults));
                sqlite.disarm();
                EXPECT_TRUE(!changed || step > 6) << "no step was counted";
                expectOldOrNew(changed, "step " + std::to_string(step));
                EXPECT_TRUE(change(*defaults));
                expectOldOrNew(true, "again after step " + std::to_string(step));
            }
        }
    }
}

TEST_F(DefaultsFaults, AProgramKilledAtAnyStepLeavesTheOldValueOrTheNew) {
    constexpr int changedStatus = 7;
    for (const bool fromEarlierFile : {false, true}) {
        bool changed = false;
        for (int step = 1; !changed; ++step) {
            begin(fromEarlierFile);
            const pid_t child = ::fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                testing::FaultyDatabaseFiles sqlite;
                const auto defaults = open();
                sqlite.arm(Fault::crash, step);
                ::_exit(change(*defaults) ? changedStatus : EXIT_FAILURE);
            }
            int status = 0;
            ASSERT_EQ(::waitpid(child, &status, 0), child);
            changed = status == W_EXITCODE(changedStatus, 0);
            EXPECT_TRUE(changed || status == 0);
            expectOldOrNew(changed, "step " + std::to_string(step));
            EXPECT_TRUE(change(*open()));
        }
    }
}

TEST_F(DefaultsFaults, AFaultAtAnyStepOfTakingOverLosesNothing) {
    for (const Fault fault : {Fault::fail, Fault::diskFull, Fault::crash}) {
        begin(true);
        files.arm(Fault::none, 0);
        ASSERT_TRUE(change(*open()));
        const int stepCount = files.operationCount();
        EXPECT_GE(stepCount, 4);
        for (int step = 1; step <= stepCount; ++step) {
            begin(true);
            const auto defaults = open();
            files.arm(fault, step);
            const bool changed = change(*defaults);
            files.disarm();
            expectOldOrNew(changed, "step " + std::to_string(step));
            EXPECT_TRUE(change(*open()));
            expectOldOrNew(true, "again after step " + std::to_string(step));
            EXPECT_TRUE(files.status(folder / kept)) << step;
        }
    }
}

TEST_F(DefaultsFaults, AChangeIsDurableWhenItReturns) {
    testing::FaultyDatabaseFiles sqlite;
    const auto defaults = open();
    for (const char* value : {"1", "2"}) {
        defaults->changeEntries({{"map", {{"a", value}}}});
        EXPECT_TRUE(sqlite.isAllSynced());
        defaults->set("key", value);
        EXPECT_TRUE(sqlite.isAllSynced());
    }
}

TEST_F(DefaultsFaults, WhereNothingCanBeWrittenItCanBeRead) {
    begin(false);
    testing::FaultyDatabaseFiles sqlite;
    sqlite.refuseWriting();
    const auto defaults = open();
    EXPECT_EQ(defaults->get("map"), "{\"a\":1}");
    EXPECT_FALSE(change(*defaults));
    EXPECT_EQ(defaults->get("map"), "{\"a\":1}");
}

}  // namespace
}  // namespace nookery
