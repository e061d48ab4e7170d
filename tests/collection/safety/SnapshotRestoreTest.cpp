#include "collection/safety/SnapshotRestore.h"

#include <gtest/gtest.h>

#include <fstream>

#include "collection/safety/JournaledSwap.h"
#include "collection/store/CrumbStore.h"
#include "foundation/Json.h"
#include "records/DefaultsKeys.h"
#include "support/SnapshotWorld.h"

namespace nookery {
namespace {

using testing::SnapshotWorld;

/// A library that has changed since its snapshot, closed and ready to be restored.
class ChangedLibrary : public SnapshotWorld {
  public:
    ChangedLibrary() {
        capture("kept.txt", "old text");
        capture("deep/removed.txt", "was here");
        atSnapshot = librarySays();
        snapshotName = take();
        capture("kept.txt", "new");
        capture("added.txt", "later");
        std::filesystem::remove_all(world.layout().items() / "deep");
        world.defaults.set(manualTagsDefaultsKey, "{\"tags\":2}");
        world.defaults.set(usageDefaultsKey, "{}");
        snapshots.reset();
        sidecar.reset();
        // Writes that only the log holds when the program is killed.
        database->makeDurable();
        const Path log = world.layout().library() / "crumb.sqlite3-wal";
        std::filesystem::copy_file(log, log.native() + ".kept");
        database.reset();
        std::filesystem::rename(log.native() + ".kept", log);
        before = librarySays();
    }

    void prepare() {
        prepareSnapshotRestore(platform, world.layout(), snapshotName,
                               OperationControl(platform.mainQueue));
    }
    std::optional<RestoreNotice> start() {
        return completePendingSnapshotRestore(platform, world.layout());
    }
    /// Names in the library folder that only a restore makes.
    std::vector<std::string> leftovers() const {
        std::vector<std::string> found;
        for (const auto& entry : world.realFiles->list(world.layout().library())) {
            if (entry.name.native().starts_with(".")) found.push_back(entry.name);
        }
        return found;
    }

    std::string atSnapshot;
    std::string before;
    std::string snapshotName;
};

TEST(SnapshotRestore, BringsBackWhatTheSnapshotHoldsAndKeepsWhatWasThere) {
    ChangedLibrary world;
    const std::string shelfBefore =
        world.world.folder.read(world.inSnapshot(world.snapshotName, "Items/kept.txt")
                                    .lexically_relative(world.world.folder.path()));
    EXPECT_EQ(world.start(), std::nullopt);
    // What a snapshot does not know of stays there, whatever its name.
    std::ofstream(world.inSnapshot(world.snapshotName, "journal.json")) << "{}";
    world.prepare();
    EXPECT_EQ(world.librarySays(), world.before) << "preparing changes nothing";
    EXPECT_THROW(world.prepare(), RestoreError);
    const auto notice = world.start();
    ASSERT_TRUE(notice && notice->restored);
    EXPECT_EQ(world.librarySays(), world.atSnapshot);
    EXPECT_EQ(world.world.defaults.get(usageDefaultsKey), std::nullopt);
    EXPECT_TRUE(world.leftovers().empty());

    const auto safety = world.world.folder.filesBelow("data/Crumb/Recovery/Before-Restore");
    const auto holds = [&safety](const std::string& end) {
        return std::any_of(safety.begin(), safety.end(),
                           [&](const std::string& file) { return file.ends_with(end); });
    };
    for (const char* file : {"crumb.sqlite3", "crumb.sqlite3-wal", "sidecar.sqlite3",
                             "Items/added.txt", "Crumb-State.plist"}) {
        EXPECT_TRUE(holds(file)) << file;
    }
    // What is written into a restored original must not reach the snapshot.
    std::filesystem::resize_file(world.world.layout().items() / "kept.txt", 1);
    EXPECT_EQ(world.world.folder.read(world.inSnapshot(world.snapshotName, "Items/kept.txt")
                                          .lexically_relative(world.world.folder.path())),
              shelfBefore);
}

TEST(SnapshotRestore, TheStoreCompletesAWaitingRestoreBeforeItOpensTheDatabase) {
    ChangedLibrary world;
    world.prepare();
    CrumbStore store(world.platform, world.world.layout(), LibraryAccess::writing);
    world.world.resultOf(store.open(SessionLength::oneCommand));
    ASSERT_TRUE(store.restoreNotice());
    EXPECT_TRUE(store.restoreNotice()->restored);
    EXPECT_EQ(store.items()->size(), 2u) << "three memories before the restore";
    EXPECT_EQ(world.librarySays(), world.atSnapshot);
}

TEST(SnapshotRestore, ASnapshotThatFailsItsCheckIsRefusedAndNothingWaits) {
    const auto refuses = [](const std::function<void(const Path& snapshot)>& damage) {
        ChangedLibrary world;
        damage(world.inSnapshot(world.snapshotName, ""));
        EXPECT_THROW(world.prepare(), Error);
        EXPECT_TRUE(world.leftovers().empty());
        EXPECT_EQ(world.librarySays(), world.before);
    };
    for (const char* file : {"crumb.sqlite3", "sidecar.sqlite3"}) {
        refuses(
            [file](const Path& snapshot) { std::filesystem::resize_file(snapshot / file, 9000); });
    }
    for (const char* file :
         {"crumb.sqlite3", "manifest.json", "Crumb-State.plist", "Items/kept.txt"}) {
        refuses([file](const Path& snapshot) { std::filesystem::remove(snapshot / file); });
    }
    ChangedLibrary world;
    EXPECT_THROW(
        world.world.resultOf(beginSnapshotRestore(world.platform, world.world.layout(), "../x")),
        RestoreError);
    const auto restore =
        beginSnapshotRestore(world.platform, world.world.layout(), world.snapshotName);
    restore->stop();
    EXPECT_THROW(world.world.resultOf(restore), Cancelled);
    EXPECT_TRUE(world.leftovers().empty());
}

TEST(JournaledSwap, LeavesWhatHasComeToLieBesideTheNewAlone) {
    const testing::TemporaryDirectory folder;
    const auto files = makePosixFileSystem();
    const Path journal = folder / "journal.json";
    for (const char* name : {"log", "data", "staged"}) folder.write(name, name);
    JournaledSwap::begin(*files, folder.path(), journal,
                         {{"log", std::nullopt, "safe/log"}, {"data", "staged", "safe/data"}})
        .finish();
    folder.write("log", "of the new");
    JournaledSwap::find(*files, folder.path(), journal)->finish();
    EXPECT_EQ(folder.read("log"), "of the new");
    EXPECT_EQ(folder.read("data"), "staged");
    EXPECT_EQ(folder.read("safe/log"), "log");
}

TEST(JournaledSwap, RefusesPlacesThatAreTakenOrEmptyAndJournalsItCannotRead) {
    const testing::TemporaryDirectory folder;
    const auto files = makePosixFileSystem();
    const Path journal = folder / "journal.json";
    folder.write("live", "1");
    folder.write("safety", "2");
    EXPECT_THROW(
        JournaledSwap::begin(*files, folder.path(), journal, {{"live", std::nullopt, "safety"}}),
        FileError);
    EXPECT_THROW(JournaledSwap::begin(*files, folder.path(), journal, {{"live", "staged", "s"}}),
                 FileError);
    EXPECT_FALSE(JournaledSwap::find(*files, folder.path(), journal));
    folder.write("journal.json", "{\"direction\":\"sideways\",\"moves\":[]}");
    EXPECT_THROW(JournaledSwap::find(*files, folder.path(), journal), JsonError);
}

}  // namespace
}  // namespace nookery
