// Kills a real child process while it saves or takes snapshots, and looks at what it left.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "collection/database/LibraryLock.h"
#include "collection/safety/SnapshotCheck.h"
#include "support/SnapshotWorld.h"

namespace nookery {
namespace {

using testing::SnapshotWorld;
using testing::TestPlatform;

/// Runs `work` in a child process that is killed once it has reported `count` times through its
/// argument. Returns all that it reported until its death.
std::vector<int> killAfterReports(std::size_t count, const std::function<void(int)>& work) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("pipe failed");
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        work(ends[1]);
        ::_exit(0);
    }
    ::close(ends[1]);
    std::vector<int> reports;
    int value = 0;
    while (::read(ends[0], &value, sizeof value) == sizeof value) {
        reports.push_back(value);
        if (reports.size() == count) ::kill(child, SIGKILL);
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the child ended before it was killed";
    return reports;
}

void report(int pipe, int value) {
    if (::write(pipe, &value, sizeof value) != sizeof value) ::_exit(1);
}

CrumbItem numbered(int number) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = std::to_string(number);
    item.searchableText = std::string(static_cast<std::size_t>(number * 977 % 20'000), 'x');
    return item;
}

TEST(Durability, AKilledProcessLosesNoSaveThatItAcknowledgedAndNoPartOfABulkSave) {
    const TestPlatform world;
    for (const std::size_t reportCount : {1u, 7u, 60u, 200u}) {
        std::filesystem::remove_all(world.layout().library());
        const auto reports = killAfterReports(reportCount, [&world](int pipe) {
            auto database = SQLiteDatabase::open(*world.realFiles, world.layout());
            auto sidecar = Sidecar::open(*world.realFiles, world.layout());
            for (int i = 0;; ++i) {
                const CrumbItem item = numbered(i);
                database.saveItem(item, Timestamp{});
                database.saveItems({std::make_shared<CrumbItem>(numbered(1'000'000 + i)),
                                    std::make_shared<CrumbItem>(numbered(2'000'000 + i))},
                                   Timestamp{});
                sidecar.addWork(std::span(&item.id, 1), "embed");
                database.makeDurable();
                sidecar.makeDurable();
                report(pipe, i);
            }
        });
        auto database = SQLiteDatabase::open(*world.realFiles, world.layout());
        EXPECT_EQ(database.integrityReport(), "ok");
        std::set<int> found;
        for (const auto& item : database.loadItems()) found.insert(std::stoi(item->title));
        for (const int saved : reports) {
            EXPECT_TRUE(found.contains(saved)) << saved;
            EXPECT_TRUE(found.contains(1'000'000 + saved)) << saved;
        }
        for (const int number : found) {
            if (number >= 2'000'000) {
                EXPECT_TRUE(found.contains(number - 1'000'000)) << number;
            }
        }
        auto sidecar = Sidecar::open(*world.realFiles, world.layout());
        EXPECT_GE(sidecar.pendingWork().size(), reports.size());
    }
}

TEST(Durability, ASnapshotIsWholeOrNotThereWhereverItsProcessIsKilled) {
    SnapshotWorld world;
    for (int i = 0; i < 20; ++i) world.capture(std::to_string(i), std::string(50'000, 'x'));
    CrumbItem big = numbered(1);
    big.searchableText = std::string(3 << 20, 'y');
    world.database->saveItem(big, Timestamp{});
    world.snapshots.reset();
    world.sidecar.reset();
    world.database.reset();
    for (const std::size_t reportCount : {1u, 4u, 9u, 14u, 23u}) {
        killAfterReports(reportCount, [&world](int pipe) {
            const SnapshotBuilder::Pause pause = [pipe](auto) { report(pipe, 0); };
            SnapshotBuilder builder(world.platform, world.world.layout(), pause);
            while (true) {
                builder.build("requested", OperationControl(world.platform.mainQueue));
                report(pipe, 1);
            }
        });
        for (const std::string& name : world.names()) {
            checkSnapshot(*world.world.realFiles, world.world.propertyLists,
                          world.inSnapshot(name, ""));
        }
        world.shelf().sweep();
        EXPECT_EQ(world.names(), world.everythingOnShelf());
    }
    EXPECT_GT(world.names().size(), 1u);
    EXPECT_EQ(SQLiteDatabase::openForReading(world.world.layout()).integrityReport(), "ok");
}

TEST(LibraryLock, OneOwnerIsNamedToOthersAndAKilledOneLeavesNothing) {
    const TestPlatform world;
    const auto real = world.folder / "elsewhere";
    std::filesystem::create_directories(real);
    std::filesystem::create_directories(world.layout().dataHome);
    std::filesystem::create_directory_symlink(real, world.layout().library());
    killAfterReports(2, [&](int pipe) {
        const auto lock = LibraryLock::acquire(*world.realFiles, world.layout(), Timestamp{1e9});
        report(pipe, ::getpid());
        try {
            LibraryLock::acquire(*world.realFiles, world.layout(), Timestamp{2e9});
        } catch (const LibraryInUse& error) {
            const std::string expected =
                "is in use by process " + std::to_string(::getpid()) + " on ";
            const bool told = error.description().find(expected) != std::string::npos &&
                              error.description().ends_with(" since 2001-09-09T01:46:40Z.");
            if (told) report(pipe, 1);
        }
        ::pause();
    });
    {
        const auto lock = LibraryLock::acquire(*world.realFiles, world.layout(), Timestamp{3e9});
        EXPECT_THROW(LibraryLock::acquire(*world.realFiles, world.layout(), Timestamp{3e9}),
                     LibraryInUse);
    }
    LibraryLock::acquire(*world.realFiles, world.layout(), Timestamp{3e9});
    EXPECT_TRUE(std::filesystem::exists(real / "library.lock"));
    auto database = SQLiteDatabase::open(*world.realFiles, world.layout());
    database.saveItem(numbered(1), Timestamp{});
    EXPECT_TRUE(std::filesystem::exists(real / "crumb.sqlite3"));
}

}  // namespace
}  // namespace nookery
