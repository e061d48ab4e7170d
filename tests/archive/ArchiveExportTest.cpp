#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "archive/ArchiveCheck.h"
#include "archive/ArchiveDestination.h"
#include "archive/ArchiveError.h"
#include "archive/ArchiveHarness.h"
#include "archive/ArchivePlaces.h"
#include "collection/database/SQLiteDatabase.h"
#include "collection/originals/FileDigest.h"
#include "foundation/Base64.h"

namespace nookery {
namespace {

using namespace testing;
namespace fs = std::filesystem;

class ArchiveExport : public ::testing::Test {
  protected:
    ArchiveExport() { makeSampleLibrary(world, world.layout(), "new"); }

    std::string exportFailure() {
        return failureOf([this] { exportArchive(world, destination); });
    }
    /// Nothing at the destination, and nothing hidden beside it.
    bool nothingIsLeft() const {
        return fs::is_empty(destination.parent_path()) ||
               (fs::is_directory(destination) && fs::is_empty(destination));
    }

    TestPlatform world{Place::memory};
    Path destination = [this] {
        fs::create_directories(world.folder / "out");
        return world.folder / "out" / "archive";
    }();
};

TEST_F(ArchiveExport, HoldsEveryOriginalAndSaysWhereItLies) {
    writeText(world.layout().items() / "caf\xE9.txt", "a name in another encoding");
    writeText(world.layout().items() / ".nookery-tmp-1", "nobody's");
    fs::create_directories(world.layout().items() / "empty folder");
    const Tree before = treeOf(world.layout().library());

    const ArchiveSummary summary = exportArchive(world, destination);

    EXPECT_EQ(treeOf(world.layout().library()), before);
    Tree archive = treeOf(destination);
    EXPECT_EQ(archive["Originals/photo.png"], "photo new");
    EXPECT_EQ(archive["Originals/trip/day one.txt"], "day new");
    EXPECT_EQ(archive["Originals/caf\xEF\xBF\xBD.txt"], "a name in another encoding");
    EXPECT_TRUE(archive.contains("Originals/empty folder/"));
    EXPECT_EQ(archive["ExternalOriginals/plan.pdf"], "linked new");
    EXPECT_EQ(archive["Receipts/Originals/5D1F.jpg"], "receipt new");
    EXPECT_EQ(archive["README.txt"], archive::readMeText);
    EXPECT_EQ(fromBase64(requiredString(readJson(destination / "Data/local-state.json"),
                                        "Crumb.ManualTags.v1")),
              "tags new");

    const Json manifest = readJson(destination / "Collection.json");
    // Parsing sorts the keys: the text is as pretty and as sorted as what is printed again.
    EXPECT_EQ(readText(destination / "Collection.json"), toPrettyJsonText(manifest));
    EXPECT_EQ(manifest["numberOfItems"], 9);
    EXPECT_EQ(summary.recordCount, 9);
    std::map<std::string, Json> exported;
    for (const Json& record : manifest["records"]) {
        exported[record["item"]["title"]] = record.value("exportedOriginal", Json());
    }
    EXPECT_EQ(exported["day"], "Originals/trip/day one.txt");
    EXPECT_EQ(exported["shared 1"], exported["shared 2"]);
    EXPECT_EQ(exported["linked 1"], "ExternalOriginals/plan.pdf");
    EXPECT_EQ(exported["linked 2"], "ExternalOriginals/plan.pdf");
    EXPECT_TRUE(exported["note new"].is_null());

    std::string last;
    for (const Json& file : manifest["files"]) {
        const std::string path = file["relativePath"];
        EXPECT_LT(last, path);
        last = path;
        EXPECT_EQ(file["byteCount"], fs::file_size(destination / path));
        EXPECT_EQ(file["sha256"],
                  digestOfFile(world.files, world.digester, destination / path).toHex());
        archive.erase(path);
    }
    std::erase_if(archive, [](const auto& entry) { return entry.first.ends_with('/'); });
    EXPECT_EQ(archive.size(), 2u);  // all but the manifest and the read-me are listed
}

TEST_F(ArchiveExport, WithoutReceiptsThereIsNoFolderForThem) {
    fs::remove_all(world.layout().receipts());
    exportArchive(world, destination);
    EXPECT_FALSE(fs::exists(destination / "Data/Coffer"));
    EXPECT_FALSE(fs::exists(destination / "Receipts"));
}

TEST_F(ArchiveExport, LiveStorageIsRefusedHoweverItIsSpelled) {
    const Path library = world.layout().library();
    fs::create_directory_symlink(library, world.folder / "alias");
    fs::rename(world.layout().items(), world.folder / "elsewhere");
    fs::create_directory_symlink(world.folder / "elsewhere", world.layout().items());
    const Tree before = treeOf(world.folder.path());
    for (const Path& inside :
         {library, library / "archive", library / "a/b/c", library / "Items/../archive",
          world.folder / "alias" / "archive", world.folder / "alias/", world.folder / "elsewhere/x",
          (library / "archive").lexically_relative(fs::current_path()),
          library.parent_path() / "." / library.filename() / "archive/"}) {
        EXPECT_EQ(failureOf([&] { exportArchive(world, inside); }),
                  "Choose a new archive folder outside NOOKERY's live storage.")
            << inside;
    }
    EXPECT_EQ(treeOf(world.folder.path()), before);
    // A neighbour whose name begins alike is no part of the library.
    EXPECT_EQ(checkedArchiveDestination(world.files, world.layout(), library.native() + "-archive"),
              library.native() + "-archive");
}

TEST_F(ArchiveExport, WhatIsAtTheDestinationIsNeverOverwritten) {
    writeText(destination / "mine.txt", "mine");
    EXPECT_NE(exportFailure().find("not empty"), std::string::npos);
    EXPECT_EQ(treeOf(destination).size(), 1u);
    fs::remove_all(destination);
    writeText(destination, "a file");
    EXPECT_NE(exportFailure(), "");
    fs::remove(destination);
    fs::create_symlink("nowhere", destination);
    EXPECT_NE(exportFailure(), "");
    EXPECT_TRUE(fs::is_symlink(destination));
    fs::remove(destination);
    fs::create_directory(destination);
    EXPECT_EQ(exportFailure(), "");  // an empty folder is as good as none
    EXPECT_NE(failureOf([&] { exportArchive(world, world.folder / "no/such/parent"); }), "");
    EXPECT_FALSE(fs::exists(world.folder / "no"));
}

TEST_F(ArchiveExport, WhatCannotBeArchivedIsNamed) {
    const Path items = world.layout().items();
    fs::rename(items / "photo.png", world.folder / "photo.png");
    fs::remove(world.folder / "linked/plan.pdf");
    EXPECT_EQ(exportFailure(), "Archive not completed. Missing originals:\n" +
                                   (items / "photo.png").native() + "\n" +
                                   (world.folder / "linked/plan.pdf").native());
    EXPECT_TRUE(nothingIsLeft());

    fs::create_symlink(world.folder / "photo.png", items / "photo.png");
    EXPECT_EQ(exportFailure(), "Archive verification failed: Symbolic link in Items: " +
                                   (items / "photo.png").native());
    fs::remove(items / "photo.png");
    fs::rename(world.folder / "photo.png", items / "photo.png");
    writeText(world.folder / "linked/plan.pdf", "again");

    const Path receipt = world.layout().receiptOriginals() / "pipe";
    ASSERT_EQ(::mkfifo(receipt.c_str(), 0600), 0);
    EXPECT_EQ(exportFailure(),
              "Archive verification failed: Unsupported receipt original: " + receipt.native());
    fs::remove(receipt);
    fs::rename(items, world.folder / "lost");
    EXPECT_NE(exportFailure().find("Cannot enumerate Items"), std::string::npos);
    fs::rename(world.folder / "lost", items);
    const auto source = sourceOf(world, world.layout());
    fs::remove(world.layout().database());
    EXPECT_NE(failureOf([&] {
                  exportArchive(world, source, destination);
              }).find("SQLite backup error: Cannot open source database"),
              std::string::npos);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ArchiveExport, AChangeInBetweenIsNoticed) {
    auto source = sourceOf(world, world.layout());
    source.items.pop_back();
    EXPECT_NE(failureOf([&] {
                  exportArchive(world, source, destination);
              }).find("changed while it was being archived"),
              std::string::npos);
    // An archived file that is not what was copied: its bytes change once it lies in staging.
    world.digester.beforeDigesting = [this] {
        for (const auto& entry : fs::directory_iterator(destination.parent_path())) {
            const bool isComplete = fs::exists(entry.path() / archive::readMeName);
            if (isComplete) writeText(entry.path() / "Originals/photo.png", "photo NEW");
        }
    };
    EXPECT_EQ(exportFailure(), "Archive verification failed: Originals/photo.png");
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(ArchiveExport, StopsWhereverItIsAskedTo) {
    int digested = 0;
    const auto stoppingAt = [&](int file) {
        const auto operation = beginArchiveExport(world.platform(), world.layout(),
                                                  sourceOf(world, world.layout()), destination);
        digested = 0;
        world.digester.beforeDigesting = [&] {
            if (++digested == file) operation->stop();
        };
        world.resultOf(operation);
    };
    stoppingAt(-1);
    fs::remove_all(destination);
    const int all = digested;
    ASSERT_GT(all, 15);
    for (int file = 1; file <= all; ++file) {
        EXPECT_THROW(stoppingAt(file), Cancelled) << file;
        EXPECT_TRUE(nothingIsLeft()) << file;
    }
}

class ArchiveExportFaults : public ArchiveExport, public ::testing::WithParamInterface<Fault> {};

TEST_P(ArchiveExportFaults, LeaveAWholeArchiveOrNone) {
    const auto source = sourceOf(world, world.layout());
    const auto write = [&] { exportArchive(world, source, destination); };
    world.files.arm(Fault::none, 0);
    write();
    const int operations = world.files.operationCount();
    ASSERT_GT(operations, 40);
    fs::remove_all(destination);
    const Tree before = treeOf(world.layout().library());
    for (int k = 1; k <= operations; ++k) {
        SCOPED_TRACE(k);
        world.files.arm(GetParam(), k);
        bool crashed = false;
        std::string failure;
        try {
            failure = failureOf(write);
        } catch (const SimulatedCrash&) {
            crashed = true;
            world.files.losePower();
        }
        world.files.disarm();
        EXPECT_EQ(treeOf(world.layout().library()), before);
        if (fs::exists(destination)) {
            EXPECT_NO_THROW(checkArchive(world, destination));
            EXPECT_EQ(failure, "");
        } else {
            EXPECT_TRUE(crashed || failure != "");
        }
        EXPECT_TRUE(crashed || fs::exists(destination) || nothingIsLeft());
        for (const auto& entry : fs::directory_iterator(destination.parent_path())) {
            fs::remove_all(entry.path());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, ArchiveExportFaults,
                         ::testing::Values(Fault::fail, Fault::diskFull, Fault::crash));

}  // namespace
}  // namespace nookery
