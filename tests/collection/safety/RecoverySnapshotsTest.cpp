#include <gtest/gtest.h>
#include <sys/stat.h>

#include "collection/safety/CrumbRecoverySnapshots.h"
#include "collection/safety/RecoveryError.h"
#include "collection/safety/SnapshotCheck.h"
#include "foundation/Json.h"
#include "records/DefaultsKeys.h"
#include "support/SnapshotWorld.h"

namespace nookery {
namespace {

using testing::Fault;
using testing::SimulatedCrash;
using testing::SnapshotWorld;

std::string fileIn(const SnapshotWorld& world, const std::string& snapshot, const Path& file) {
    return world.world.folder.read(
        world.inSnapshot(snapshot, file).lexically_relative(world.world.folder.path()));
}

class RecoverySnapshotsTest : public ::testing::Test {
  protected:
    std::vector<std::string> reasons() {
        std::vector<std::string> found;
        for (const auto& summary : world_.shelf().summaries()) found.push_back(summary.reason);
        return found;
    }

    std::string content(const std::string& snapshot, const std::string& file) {
        return fileIn(world_, snapshot, file);
    }

    std::uint64_t inode(const Path& path) {
        return world_.world.realFiles->status(path).value().inode;
    }

    SnapshotWorld world_;
    testing::VirtualTime& time_ = world_.world.time;
    CrumbRecoverySnapshots& snapshots_ = *world_.snapshots;
};

TEST_F(RecoverySnapshotsTest, ChangesAreFollowedByOneSnapshotWhenTheyHaveSettled) {
    for (int i = 0; i < 10; ++i) {
        snapshots_.recordChange();
        time_.advance(6);
    }
    time_.advance(83);
    EXPECT_TRUE(world_.names().empty()) << "89 seconds after the last change";
    time_.advance(1);
    EXPECT_EQ(reasons(), std::vector<std::string>{"settled-change"});
    for (int i = 0; i < 19; ++i) {
        snapshots_.recordChange();
        time_.advance(90);
    }
    EXPECT_EQ(reasons().size(), 1u) << "within 30 minutes of the last";
    snapshots_.recordChange();
    time_.advance(90);
    EXPECT_EQ(reasons().size(), 2u);
    snapshots_.recordChange();
    world_.snapshots.reset();
    time_.advance(4000);
    EXPECT_EQ(reasons().size(), 2u) << "the owner is gone";
}

TEST_F(RecoverySnapshotsTest, LaunchTakesOneWhenTheNewestIsOldOrNamedInTheFuture) {
    const auto launch = [this] {
        snapshots_.checkAtLaunch();
        time_.settle();
        return reasons().size();
    };
    EXPECT_EQ(launch(), 1u);
    EXPECT_EQ(reasons().front(), "launch");
    time_.advance(CrumbRecoverySnapshots::launchFreshnessInterval);
    EXPECT_EQ(launch(), 1u);
    time_.advance(1);
    EXPECT_EQ(launch(), 2u);
    time_.setWallClock(Timestamp{time_.now().secondsSince1970 - 86400});
    EXPECT_EQ(launch(), 3u) << "two in the future say nothing";
    EXPECT_EQ(launch(), 3u);
}

TEST_F(RecoverySnapshotsTest, SixAreKeptAndNeverIsTheOneJustTakenRemoved) {
    std::vector<std::string> taken;
    for (int i = 0; i < 7; ++i) {
        taken.push_back(world_.take());
        time_.advance(1);
    }
    EXPECT_EQ(world_.names(), std::vector(taken.begin() + 1, taken.end()));
    time_.setWallClock(Timestamp{1'000'000'000});
    const std::string early = world_.take();
    const std::string second = world_.take();
    EXPECT_EQ(world_.names().size(), 6u);
    EXPECT_EQ(world_.names()[0], early);
    EXPECT_EQ(world_.names()[1], second) << "same millisecond, another name";
}

TEST_F(RecoverySnapshotsTest, ASnapshotIsCompleteAndSaysWhatItIs) {
    world_.capture("a.txt", "first");
    world_.capture("deep/b.bin", std::string("\0\xff", 2));
    const std::string oddName = "caf\xE9 " + std::string(240, 'x');
    world_.capture(oddName, "odd");
    std::filesystem::create_symlink("/etc/hostname", world_.world.layout().items() / "link");
    std::filesystem::create_directories(world_.world.layout().receiptOriginals());
    world_.world.folder.write("data/Crumb/Coffer/Originals/r.pdf", "receipt");
    SqliteConnection::open(world_.world.layout().receiptsDatabase(), SqliteAccess::readWriteCreate)
        .execute("CREATE TABLE receipts (x); INSERT INTO receipts VALUES (7);");

    const std::string name = world_.take();
    const auto manifest = parseJson(content(name, "manifest.json"));
    EXPECT_EQ(manifest, (Json{{"version", 1},
                              {"createdAt", toIso8601(time_.now())},
                              {"reason", "requested"},
                              {"managedFileCount", 4},
                              {"secureValuesIncluded", false}}));
    EXPECT_EQ(content(name, "Items/a.txt"), "first");
    EXPECT_EQ(content(name, "Items/" + oddName), "odd");
    EXPECT_EQ(content(name, "Coffer/Originals/r.pdf"), "receipt");
    EXPECT_FALSE(std::filesystem::exists(world_.inSnapshot(name, "Items/link")));
    checkSnapshot(*world_.world.realFiles, world_.world.propertyLists, world_.inSnapshot(name, ""));
    const auto state = readLibraryState(*world_.world.realFiles, world_.world.propertyLists,
                                        world_.inSnapshot(name, ""));
    EXPECT_TRUE(state.contains(std::string(manualTagsDefaultsKey)));
    const auto summary = snapshots_.list().at(0);
    EXPECT_EQ(summary.managedFileCount, 4);
    EXPECT_GT(summary.byteCount, 4096);
    EXPECT_EQ(summary.problem, std::nullopt);
}

TEST_F(RecoverySnapshotsTest, WritesBetweenTheStepsDoNotDisturbTheCopy) {
    world_.capture("a.txt", "first");
    CrumbItem big;
    big.id = Uuid::random();
    big.searchableText = std::string(8 << 20, 'x');
    world_.database->saveItem(big, time_.now());
    world_.duringPause = [this] {
        if (world_.pauseCount > 60) return;  // a copy that starts over must come to an end
        CrumbItem more;
        more.id = Uuid::random();
        more.searchableText = std::string(100'000, 'y');
        world_.database->saveItem(more, time_.now());
    };
    const std::string name = world_.take();
    EXPECT_GE(world_.pauseCount, (8 << 20) / 4096 / 128);
    EXPECT_LE(world_.pauseCount, (9 << 20) / 4096 / 128 + 4) << "the copy was started over";
    auto copy =
        SqliteConnection::open(world_.inSnapshot(name, "crumb.sqlite3"), SqliteAccess::immutable);
    EXPECT_EQ(copy.integrityReport(), "ok");
    EXPECT_GT(world_.database->itemCount(), 10);
}

TEST_F(RecoverySnapshotsTest, UnchangedOriginalsAreSharedBetweenSnapshotsNeverWithTheLibrary) {
    world_.capture("same.txt", "same");
    world_.capture("changed.txt", "old");
    const std::string first = world_.take();
    world_.capture("changed.txt", "new!");
    time_.advance(1);
    const std::string second = world_.take();
    const Path live = world_.world.layout().items() / "same.txt";
    EXPECT_EQ(inode(world_.inSnapshot(first, "Items/same.txt")),
              inode(world_.inSnapshot(second, "Items/same.txt")));
    EXPECT_NE(inode(live), inode(world_.inSnapshot(second, "Items/same.txt")));
    EXPECT_EQ(content(first, "Items/changed.txt"), "old");
    EXPECT_EQ(content(second, "Items/changed.txt"), "new!");
}

TEST_F(RecoverySnapshotsTest, ADamagedCopyIsFoundInTurnAndReplaced) {
    const std::string large(40 << 20, 'x');
    for (const char* name : {"a", "b", "c"}) world_.capture(name, large);
    world_.capture("d", "small");
    const std::string first = world_.take();
    const Path copy = world_.inSnapshot(first, "Items/d");
    const auto status = world_.world.realFiles->status(copy).value();
    world_.world.folder.write(copy.lexically_relative(world_.world.folder.path()), "SMALL");
    world_.world.realFiles->setModified(copy, status.modifiedNanoseconds);

    time_.advance(1);
    EXPECT_EQ(content(world_.take(), "Items/d"), "SMALL") << "a and b are checked first";
    time_.advance(1);
    EXPECT_EQ(content(world_.take(), "Items/d"), "small");
    EXPECT_TRUE(world_.world.log.contains("Items/d in the last snapshot is damaged"));
}

TEST_F(RecoverySnapshotsTest, ADestructiveOperationGoesOnOnMainAfterItsSnapshotOrItsLoggedFailure) {
    world_.capture("a.txt", "first");
    std::optional<std::string> name;
    const auto destroy = [&] {
        const auto snapshot = snapshots_.takeBeforeDestructive("before-bulk-delete");
        time_.settle();
        name = snapshot->outcome()->get().snapshotName();
    };
    world_.take();
    destroy();
    EXPECT_EQ(reasons(), (std::vector<std::string>{"requested", "before-bulk-delete"}));
    EXPECT_EQ(name, world_.names().back());

    std::filesystem::remove_all(world_.world.layout().items());
    destroy();
    EXPECT_EQ(name, std::nullopt);
    EXPECT_TRUE(world_.world.log.contains(
        "Crumb pre-destructive recovery snapshot error: Could not find "));
    EXPECT_EQ(world_.world.log.problems.size(), 1u);
    std::filesystem::create_directory(world_.world.layout().items());
    destroy();
    EXPECT_TRUE(world_.world.log.problems.empty());
    world_.database.reset();
    std::filesystem::resize_file(world_.world.layout().database(), 5000);
    destroy();
    EXPECT_TRUE(world_.world.log.contains(
        "Crumb pre-destructive recovery snapshot error: Could not snapshot NOOKERY database: "));
    std::filesystem::remove(world_.world.layout().database());
    destroy();
    EXPECT_TRUE(world_.world.log.contains("Could not open recovery database: unable to open"));
    EXPECT_EQ(world_.everythingOnShelf().size(), 3u) << "nothing unfinished stays";
}

TEST_F(RecoverySnapshotsTest, ACancelledSnapshotLeavesNothing) {
    world_.capture("a.txt", "first");
    OperationPointer<std::string> snapshot;
    world_.duringPause = [&] { snapshot->stop(); };
    CrumbItem big;
    big.id = Uuid::random();
    big.searchableText = std::string(2 << 20, 'x');
    world_.database->saveItem(big, time_.now());
    int progressCount = 0;
    snapshot = snapshots_.take("requested");
    const auto following = snapshot->progress().subscribe([&](const auto&) { ++progressCount; });
    EXPECT_THROW(world_.world.resultOf(snapshot), Cancelled);
    EXPECT_GT(progressCount, 0);
    EXPECT_TRUE(world_.everythingOnShelf().empty());
}

TEST(RecoverySnapshotFaults, AFaultAtAnyOperationLeavesOnlyWholeSnapshotsAndTheNextSucceeds) {
    for (const Fault fault : {Fault::fail, Fault::diskFull, Fault::crash}) {
        SnapshotWorld world;
        world.capture("same.txt", "same");
        world.capture("deep/changed.txt", "0");
        world.take();
        int k = 0;
        do {
            world.world.time.advance(1);
            world.capture("deep/changed.txt", std::to_string(++k) + "x");
            world.world.files.arm(fault, k);
            try {
                world.take();
            } catch (const Error&) {
            } catch (const SimulatedCrash&) {
            }
            const int operationCount = world.world.files.operationCount();
            world.world.files.losePower();
            world.world.files.disarm();
            for (const std::string& name : world.names()) {
                checkSnapshot(*world.world.realFiles, world.world.propertyLists,
                              world.inSnapshot(name, ""));
                EXPECT_EQ(fileIn(world, name, "Items/same.txt"), "same") << "step " << k;
                EXPECT_NE(fileIn(world, name, "Items/deep/changed.txt"), "") << "step " << k;
            }
            world.world.time.advance(1);
            const std::string next = world.take();
            EXPECT_EQ(world.names(), world.everythingOnShelf()) << "leftovers after step " << k;
            EXPECT_EQ(fileIn(world, next, "Items/deep/changed.txt"), std::to_string(k) + "x");
            if (operationCount < k) break;
        } while (true);
        EXPECT_GT(k, 25) << "operations of one snapshot";
    }
}

}  // namespace
}  // namespace nookery
