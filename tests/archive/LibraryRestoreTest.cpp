#include "collection/safety/LibraryRestore.h"

#include <gtest/gtest.h>

#include "archive/RestoreWorld.h"
#include "collection/database/LibraryLock.h"
#include "collection/safety/RestoreError.h"
#include "records/DefaultsKeys.h"

namespace nookery {
namespace {

using namespace testing;
namespace fs = std::filesystem;

const auto bothKinds = ::testing::Values(RestoreKind::snapshot, RestoreKind::archive);

class LibraryRestoreFaults : public ::testing::TestWithParam<std::tuple<RestoreKind, Fault>> {
  protected:
    RestoreWorld world{std::get<RestoreKind>(GetParam())};
    Fault fault = std::get<Fault>(GetParam());
};

TEST_P(LibraryRestoreFaults, WhilePreparingLeaveTheLibraryAlone) {
    int k = 1;
    for (bool reached = true; reached && !HasFailure(); ++k) {
        SCOPED_TRACE(k);
        world.putBack("unprepared");
        world.world.files.arm(fault, k);
        bool crashed = false;
        bool failed = false;
        try {
            world.prepare();
        } catch (const SimulatedCrash&) {
            crashed = true;
            world.world.files.losePower();
        } catch (const Error&) {
            failed = true;
        }
        reached = world.world.files.operationCount() >= k;
        world.world.files.disarm();
        const bool waits = fs::exists(world.pending());
        if (!crashed) {
            EXPECT_EQ(waits, !failed);
            EXPECT_EQ(world.differences(world.everything(), world.formerly), "");
        }
        world.start();
        const Tree& expected = waits ? world.lately : world.formerly;
        EXPECT_EQ(world.differences(world.everything(), expected), "");
    }
    EXPECT_GT(k, 30);
}

TEST_P(LibraryRestoreFaults, WhileCompletingEndInTheOldStateOrTheNew) {
    ASSERT_GT(world.operations, 60);
    for (int k = 1; k <= world.operations && !HasFailure(); ++k) {
        SCOPED_TRACE(k);
        world.putBack("prepared");
        const auto ending = world.startWith(fault, k);
        if (fault == Fault::fail) {
            EXPECT_TRUE(ending.isWhole) << "one failure can be undone";
        }
        world.expectEndsWell(ending);
    }
}

TEST_P(LibraryRestoreFaults, WhileUndoingEndInTheOldStateOrTheNew) {
    // From there everything is undone; every shallower depth is a part of that.
    const int deepest = world.deepestFailure();
    bool reached = true;
    for (int k = deepest + 1; reached && !HasFailure(); ++k) {
        SCOPED_TRACE(k);
        world.putBack("prepared");
        const auto ending = world.startWith(Fault::fail, deepest, fault, k);
        reached = world.operationsMet >= k;
        world.expectEndsWell(ending);
    }
}

TEST_P(LibraryRestoreFaults, WhileAnInterruptedUndoGoesOnEndInTheOldStateOrTheNew) {
    const int deepest = world.deepestFailure();
    world.putBack("prepared");
    world.startWith(Fault::fail, deepest, Fault::crash, deepest + 20);
    world.keepAs("half undone");
    bool reached = true;
    for (int k = 1; reached && !HasFailure(); ++k) {
        SCOPED_TRACE(k);
        world.putBack("half undone");
        const auto ending = world.startWith(fault, k);
        reached = world.operationsMet >= k;
        world.expectEndsWell(ending);
    }
}

TEST_P(LibraryRestoreFaults, AgainAndAgainLoseNothing) {
    RestoreWorld::Ending last;
    for (int k = 1; k <= world.operations + 20; ++k) {
        const auto ending = world.startWith(fault, k);
        last.toldFailure = last.toldFailure || ending.toldFailure;
    }
    world.expectEndsWell(last);
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, LibraryRestoreFaults,
    ::testing::Combine(bothKinds, ::testing::Values(Fault::fail, Fault::diskFull, Fault::crash)),
    [](const auto& each) {
        return ::testing::PrintToString(std::get<0>(each.param)) + "_" +
               ::testing::PrintToString(std::get<1>(each.param));
    });

class LibraryRestoreKinds : public ::testing::TestWithParam<RestoreKind> {
  protected:
    /// Ends the process right after it has saved the settings, with the first move before it.
    void beginAndCrash() {
        for (int k = 1; safety.empty() || !fs::exists(safety / "Crumb-State.plist"); ++k) {
            world.putBack("prepared");
            world.startWith(Fault::crash, k);
            if (!fs::exists(world.journal())) continue;
            moves = readJson(world.journal())["moves"];
            safety = (root / moves[0]["safety"].get<std::string>()).parent_path();
        }
    }
    /// The order that the moves had before: memories that wait to be taken over went last with an
    /// archive, and not at all with a snapshot.
    void orderAsBefore() {
        const Json first = moves[0];
        ASSERT_EQ(Path(first["live"].get<std::string>()).filename(), "crumbs.json");
        moves.erase(0);
        if (GetParam() == RestoreKind::archive) moves.push_back(first);
    }
    void makeMove(const Json& move) {
        const Path live = root / move["live"].get<std::string>();
        const Path away = root / move["safety"].get<std::string>();
        fs::create_directories(away.parent_path());
        if (fs::exists(live)) fs::rename(live, away);
        if (move.contains("staged")) fs::rename(root / move["staged"].get<std::string>(), live);
    }

    RestoreWorld world{GetParam()};
    Path root = GetParam() == RestoreKind::archive ? world.library.parent_path() : world.library;
    Path safety;
    Json moves;
};

TEST_P(LibraryRestoreKinds, WhatAnEarlierVersionLeftHalfWayIsBroughtToItsEnd) {
    beginAndCrash();
    orderAsBefore();
    world.keepAs("begun");
    Tree forward = world.lately;
    if (GetParam() == RestoreKind::snapshot) {
        forward.erase((safety / "crumbs.json").lexically_relative(world.library.parent_path()));
        forward["Crumb/crumbs.json"] = "formerly";
    }
    for (const char* direction : {"forward", "back"}) {
        for (std::size_t done = 0; done <= moves.size(); ++done) {
            SCOPED_TRACE(::testing::Message() << direction << " " << done);
            world.putBack("begun");
            for (std::size_t i = 0; i < done; ++i) makeMove(moves[i]);
            writeText(world.journal(),
                      toPrettyJsonText(Json{{"direction", direction}, {"moves", moves}}));
            const bool goesBack = direction == std::string("back");
            // Settings that are back have left the safety folder.
            if (goesBack && done == 0) fs::remove(safety / "Crumb-State.plist");
            EXPECT_TRUE(world.start().at(0).restored);
            const Tree& expected = goesBack ? world.lately : forward;
            EXPECT_EQ(world.differences(world.everything(), expected), "");
        }
    }
}

TEST_P(LibraryRestoreKinds, WhatIsSetAfterARestoreFailedIsNotTakenBack) {
    const int first = world.deepestFailure();
    int toldCount = 0;
    bool reached = true;
    for (int k = first + 1; reached; ++k) {
        SCOPED_TRACE(k);
        world.putBack("prepared");
        const auto ending = world.startWith(Fault::fail, first, Fault::fail, k);
        reached = world.operationsMet >= k;
        if (!ending.toldFailure) continue;
        ++toldCount;
        world.world.defaults.set(manualTagsDefaultsKey, "since");
        std::string kept;
        if (!world.start().empty()) {  // tried again: it is in the safety copy
            const auto state = world.platform.propertyLists.read(readText(
                world.library.parent_path() / "NOOKERY-Pre-Restore-Safety" / "Crumb-State.plist"));
            const auto& bytes =
                std::get<std::vector<unsigned char>>(state.at(std::string(manualTagsDefaultsKey)));
            kept.assign(bytes.begin(), bytes.end());
        } else {
            kept = world.world.defaults.get(manualTagsDefaultsKey).value();
        }
        EXPECT_EQ(kept, "since");
    }
    EXPECT_GT(toldCount, 1);
}

TEST_P(LibraryRestoreKinds, NobodyOpensALibraryThatAnotherProcessIsExchanging) {
    {
        const auto lock = LibraryLock::acquire(world.world.files, world.world.layout(), {});
        EXPECT_TRUE(world.start().empty()) << "not begun: the library is the old one";
    }
    beginAndCrash();
    const auto lock = LibraryLock::acquire(world.world.files, world.world.layout(), {});
    EXPECT_THROW(world.start(), LibraryInUse);
}

TEST_P(LibraryRestoreKinds, AJournalThatCannotBeReadKeepsTheLibraryClosed) {
    for (const char* text : {"{", "{\"direction\":\"forward\",\"moves\":[]}"}) {
        writeText(world.journal(), text);
        const Tree before = world.everything();
        EXPECT_THROW(world.start(), RestoreError);
        EXPECT_EQ(world.differences(world.everything(), before), "");
    }
}

TEST_P(LibraryRestoreKinds, ReceiptsGoWithTheirOriginalsOrStayWithThem) {
    const bool isArchive = GetParam() == RestoreKind::archive;
    fs::remove(world.pending() / (isArchive ? "Data" : "") / "Coffer/coffer.sqlite3");
    EXPECT_TRUE(world.start().at(0).restored);
    Tree now = world.everything();
    EXPECT_EQ(now["Crumb/Coffer/coffer.sqlite3"], "formerly");
    EXPECT_EQ(now["Crumb/Coffer/Originals/5D1F.jpg"], "receipt formerly");
    EXPECT_EQ(now["Crumb/Items/photo.png"], "photo lately");
}

TEST_P(LibraryRestoreKinds, WithoutTheDatabaseNothingIsExchanged) {
    const bool isArchive = GetParam() == RestoreKind::archive;
    fs::remove(world.pending() / (isArchive ? "Data" : "") / "crumb.sqlite3");
    EXPECT_FALSE(world.start().at(0).restored);
    EXPECT_EQ(world.differences(world.everything(), world.formerly), "");
}

TEST_P(LibraryRestoreKinds, OnlyOneRestoreWaitsOfWhateverKind) {
    world.putBack("unprepared");
    for (const char* name : {".NOOKERY-Restore-Pending", ".NOOKERY-Snapshot-Restore-Pending"}) {
        fs::create_directory(world.library / name);
        EXPECT_EQ(failureOf([this] { world.prepare(); }),
                  "A restore is already pending. Reopen NOOKERY to complete it.");
        fs::remove(world.library / name);
    }
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, LibraryRestoreKinds, bothKinds,
                         ::testing::PrintToStringParamName());

}  // namespace
}  // namespace nookery
