#include <gtest/gtest.h>

#include <fstream>

#include "archive/ArchiveHarness.h"
#include "archive/RestoreAtStart.h"
#include "archive/RestorePlaces.h"
#include "collection/database/LibraryLock.h"
#include "collection/database/Sidecar.h"
#include "collection/originals/FileDigest.h"
#include "foundation/SqliteConnection.h"
#include "foundation/SqliteStatement.h"
#include "records/DefaultsKeys.h"

namespace nookery {
namespace {

using namespace testing;
namespace fs = std::filesystem;

const std::map<std::string, std::string>& archivedLibrary() {
    static const std::map<std::string, std::string> held{
        {"note new", "(none)"},       {"photo", "photo new"},
        {"day", "day new"},           {"empty", ""},
        {"plan", "managed plan new"}, {"shared 1", std::string(1'200'000, 'n')},
        {"linked 1", "linked new"},   {"shared 2", std::string(1'200'000, 'n')},
        {"linked 2", "linked new"},   {"receipt", "receipt new"},
        {"tags", "tags new"}};
    return held;
}

/// An archive of one machine, and the library of another that it is restored into.
class ArchiveRestore : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        source_ = new TestPlatform(Place::memory);
        makeSampleLibrary(*source_, source_->layout(), "new");
        exportArchive(*source_, source_->folder / "archive");
    }
    static void TearDownTestSuite() { delete source_; }

    ArchiveRestore() {
        fs::copy(source_->folder / "archive", archive, fs::copy_options::recursive);
        makeSampleLibrary(world, world.layout(), "old");
        // As a killed process leaves it.
        writeText(world.layout().library() / "crumb.sqlite3-journal", "");
        before = readLibrary(world, world.layout());
    }

    void prepare() { prepareRestore(world, world.layout(), archive); }
    std::vector<RestoreNotice> start() {
        return completeWaitingRestores(world.platform(), world.layout());
    }
    std::map<std::string, std::string> held() { return readLibrary(world, world.layout()); }
    static const Path& sourceFolder() { return source_->folder.path(); }

    TestPlatform world{Place::memory};
    Path archive = world.folder / "archive";
    Path pending = world.layout().library() / restore::pendingName;
    Path safety = world.layout().dataHome / restore::safetyName;
    std::map<std::string, std::string> before;

  private:
    static inline TestPlatform* source_ = nullptr;
};

TEST_F(ArchiveRestore, OnAnotherMachineEveryOriginalOpens) {
    fs::rename(sourceFolder() / "data", sourceFolder() / "gone");
    fs::rename(sourceFolder() / "linked", sourceFolder() / "gone linked");
    world.defaults.set(bringBackDefaultsKey, "kept");
    prepare();
    EXPECT_EQ(held(), before);
    const auto notices = start();
    fs::rename(sourceFolder() / "gone", sourceFolder() / "data");
    fs::rename(sourceFolder() / "gone linked", sourceFolder() / "linked");

    ASSERT_EQ(notices.size(), 1u);
    EXPECT_TRUE(notices[0].restored);
    EXPECT_EQ(notices[0].title, "NOOKERY Collection Restored");
    EXPECT_TRUE(world.log.contains("NOOKERY: Complete archive restored; prior live data saved at " +
                                   safety.native()));
    EXPECT_TRUE(world.log.contains("NOOKERY startup notice: NOOKERY Collection Restored"));
    EXPECT_EQ(lastRestore(world.files, world.layout())->notice.detail, notices[0].detail);
    EXPECT_EQ(held(), archivedLibrary());
    // Clashing with an original of the same name, the linked one came under another.
    EXPECT_EQ(readText(world.layout().items() / "plan (2).pdf"), "linked new");
    EXPECT_EQ(world.defaults.get(bringBackDefaultsKey), "kept");
    EXPECT_FALSE(fs::exists(pending));
    EXPECT_FALSE(fs::exists(world.layout().library() / "crumb.sqlite3-journal"));
    EXPECT_TRUE(fs::exists(safety / "crumb.sqlite3-journal"));
    EXPECT_EQ(readText(safety / "Items/photo.png"), "photo old");
    EXPECT_EQ(safetyCopy(world.files, world.layout()), safety);
    EXPECT_TRUE(start().empty());

    auto facts = Sidecar::openForReading(world.layout().sidecar());
    EXPECT_EQ(facts.originals().size(), 7u);
    for (const OriginalFact& fact : facts.originals()) {
        const Path place = world.layout().library() / fact.relativePath;
        EXPECT_EQ(digestOfFile(world.files, world.digester, place), fact.digest);
        EXPECT_EQ(world.files.status(place)->modifiedNanoseconds, fact.modifiedNanoseconds);
    }
}

TEST_F(ArchiveRestore, AMachineWithoutALibraryGetsOne) {
    fs::remove_all(world.layout().dataHome);
    world.defaults.remove(manualTagsDefaultsKey);
    prepare();
    EXPECT_TRUE(start().at(0).restored);
    EXPECT_EQ(held(), archivedLibrary());
}

TEST_F(ArchiveRestore, LinkedOriginalsStayLinkedOnlyWhereTheyLieUnchanged) {
    const Path linked = sourceFolder() / "linked/plan.pdf";
    prepare();
    start();
    EXPECT_EQ(held(), archivedLibrary());
    EXPECT_FALSE(fs::exists(world.layout().items() / "plan (2).pdf"));

    fs::rename(safety, world.folder / "first safety copy");
    writeText(linked, "linked NEW");  // of the same size
    prepare();
    start();
    EXPECT_EQ(held(), archivedLibrary());
    EXPECT_EQ(readText(linked), "linked NEW");
    writeText(linked, "linked new");
}

TEST_F(ArchiveRestore, NoFileOfThisComputerComesInBecauseARecordNamesIt) {
    const Path key = world.folder.write("home/.ssh/key", "private");
    const auto change = [&](const char* database, const std::string& sql) {
        auto connection = SqliteConnection::open(archive / database, SqliteAccess::readWriteCreate);
        connection.execute(sql);
        connection.leaveWriteAheadLog();
    };
    const std::string stolen = "'" + key.native() + "'";
    change("Data/crumb.sqlite3",
           "UPDATE crumbs SET file_path = " + stolen + " WHERE title = 'note new';");
    change("Data/Coffer/coffer.sqlite3",
           "UPDATE receipts SET original_file_path = " + stolen + ";");
    relist(world, archive, "Data/crumb.sqlite3");
    relist(world, archive, "Data/Coffer/coffer.sqlite3");
    prepare();
    const auto notices = start();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_TRUE(notices[0].restored) << notices[0].detail;
    EXPECT_NE(notices[0].detail.find("2 records named a file"), std::string::npos);

    exportArchive(world, world.folder / "later");
    for (const auto& [name, content] : treeOf(world.folder / "later")) {
        EXPECT_NE(content, "private") << name;
    }
    auto library = SqliteConnection::open(world.layout().database(), SqliteAccess::readOnly);
    SqliteStatement words(library,
                          "SELECT searchable_text, file_path FROM crumbs "
                          "WHERE title = 'note new';");
    ASSERT_TRUE(words.step());
    EXPECT_NE(words.string(0).find(key.native()), std::string::npos);
    EXPECT_TRUE(words.isNull(1));
    auto receipts =
        SqliteConnection::open(world.layout().receiptsDatabase(), SqliteAccess::readOnly);
    SqliteStatement receipt(receipts, "SELECT note, original_file_path FROM receipts;");
    ASSERT_TRUE(receipt.step());
    EXPECT_NE(receipt.string(0).find(key.native()), std::string::npos);
    EXPECT_TRUE(receipt.isNull(1));
}

TEST_F(ArchiveRestore, WithoutReceiptsInTheArchiveTheLiveOnesStay) {
    fs::remove_all(archive / "Receipts");
    fs::remove_all(archive / "Data/Coffer");
    editManifest(archive, [](Json& manifest) {
        Json kept = Json::array();
        for (const Json& file : manifest["files"]) {
            const std::string path = file["relativePath"];
            if (path.find("Receipts") != 0 && path.find("Data/Coffer") != 0) kept.push_back(file);
        }
        manifest["files"] = kept;
    });
    prepare();
    start();
    EXPECT_EQ(held()["receipt"], "receipt old");
    EXPECT_EQ(held()["photo"], "photo new");
}

TEST_F(ArchiveRestore, OneRestoreWaitsAtATime) {
    prepare();
    EXPECT_EQ(failureOf([this] { prepare(); }),
              "A restore is already pending. Reopen NOOKERY to complete it.");
    {
        const auto lock = LibraryLock::acquire(world.files, world.layout(), Timestamp{});
        EXPECT_TRUE(start().empty());  // whoever holds the library still uses it
    }
    EXPECT_EQ(held(), before);
    EXPECT_EQ(start().size(), 1u);
}

TEST_F(ArchiveRestore, AnEarlierSafetyCopyIsNeverTouched) {
    prepare();
    writeText(safety / "mine", "mine");
    const Tree live = treeOf(world.layout().items());
    const auto notices = start();
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_EQ(notices[0].title, "NOOKERY Restore Not Completed");
    EXPECT_EQ(notices[0].detail,
              "Your restore could not finish: A previous pre-restore safety copy exists at " +
                  safety.native() +
                  ". Move it to a safe location before completing another restore. The pending "
                  "archive has been preserved.");
    EXPECT_EQ(treeOf(world.layout().items()), live);
    EXPECT_EQ(treeOf(safety).size(), 1u);
    EXPECT_EQ(held(), before);
    fs::remove_all(safety);
    start();
    EXPECT_EQ(held(), archivedLibrary());
}

TEST_F(ArchiveRestore, WhatWasCheckedIsWhatIsInstalled) {
    const auto prepareWhile = [this](const std::function<void()>& change) {
        int digested = 0;
        world.digester.beforeDigesting = [&] {
            if (++digested == 3) change();
        };
        const std::string failure = failureOf([this] { prepare(); });
        world.digester.beforeDigesting = {};
        return failure;
    };
    EXPECT_EQ(prepareWhile([this] { writeText(archive / "Originals/photo.png", "photo NEW"); }),
              "Archive integrity check failed: Originals/photo.png");
    EXPECT_FALSE(fs::exists(pending));
    writeText(archive / "Originals/photo.png", "photo new");
    // A manifest exchanged meanwhile, and files that it does not list, change nothing.
    writeText(archive / "Originals/stranger.txt", "?");
    writeText(archive / "Data/crumb.sqlite3-journal", "?");
    EXPECT_EQ(prepareWhile([this] { writeText(archive / "Collection.json", "{}"); }), "");
    EXPECT_EQ(treeOf(pending).count("Originals/stranger.txt"), 0u);
    EXPECT_EQ(treeOf(pending).count("Data/crumb.sqlite3-journal"), 0u);
    start();
    EXPECT_EQ(held(), archivedLibrary());
}

TEST_F(ArchiveRestore, AListedNameNeverMeetsOneOfTheRestoresOwn) {
    writeText(archive / restore::journalName, "photo new");
    editManifest(archive, [](Json& manifest) {
        for (Json file : Json(manifest["files"])) {
            if (file["relativePath"] != "Originals/photo.png") continue;
            file["relativePath"] = std::string(restore::journalName);
            manifest["files"].push_back(file);
        }
    });
    prepare();
    EXPECT_FALSE(fs::exists(pending / restore::journalName));
    EXPECT_TRUE(start().at(0).restored);
}

TEST_F(ArchiveRestore, ALibraryFolderThatIsALinkIsRestoredWhereItLeads) {
    fs::rename(world.layout().library(), world.folder / "real");
    fs::create_directory_symlink(world.folder / "real", world.layout().library());
    prepare();
    EXPECT_TRUE(start().at(0).restored);
    EXPECT_EQ(held(), archivedLibrary());
    EXPECT_TRUE(fs::is_symlink(world.layout().library()));
    EXPECT_TRUE(fs::exists(world.folder / restore::safetyName));
}

}  // namespace
}  // namespace nookery
