#include "collection/safety/LibraryVerifier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

#include "collection/database/Sidecar.h"
#include "collection/originals/FileDigest.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "foundation/SqliteConnection.h"
#include "support/InboxHarness.h"

namespace nookery {
namespace {

using testing::InboxHarness;
using testing::TestPlatform;

/// What it is, and the path's last name.
using Problems = std::multiset<std::pair<std::string, std::string>>;

/// A closed library with two files, an activity and a snapshot of all.
class LibraryVerifierTest : public ::testing::Test {
  protected:
    LibraryVerifierTest() {
        inbox_.drop("a.txt", "apples");
        inbox_.drop("b.txt", "pears");
        inbox_.drop("Run.crumbactivity/activity.json", R"({"title":"Run"})");
        inbox_.drop("Run.crumbactivity/media/river.png", "\x89PNG river");
        inbox_.start();
        inbox_.advance(10);
        inbox_.store->recoverySnapshots().take("by-hand");
        inbox_.advance(10);
        inbox_.close();
        world_.time.advance(10);
    }

    Problems verify(VerifyDepth depth = VerifyDepth::full) {
        Problems problems;
        report_ = world_.resultOf(verifyLibrary(world_.platform(), layout_, depth));
        for (const VerifyProblem& problem : report_.problems) {
            problems.emplace(problem.what, problem.path.filename());
        }
        return problems;
    }
    static std::ptrdiff_t count(const Problems& problems, std::string_view what) {
        return std::count_if(problems.begin(), problems.end(),
                             [&](const auto& problem) { return problem.first == what; });
    }
    void overwrite(const Path& path, std::streamoff at, std::string_view bytes) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(at);
        file << bytes;
        ASSERT_TRUE(file.flush());
    }
    void overwriteNew(const Path& path, std::string_view content) {
        world_.folder.write(path.lexically_relative(world_.folder.path()), content);
    }
    Path newestSnapshot() const {
        Path newest;
        for (const auto& entry : world_.realFiles->list(layout_.snapshots())) {
            newest = std::max(newest, layout_.snapshots() / entry.name);
        }
        return newest;
    }
    std::map<std::string, std::string> everything() const {
        std::map<std::string, std::string> all;
        for (const std::string& name : world_.folder.filesBelow("data")) {
            all[name] = world_.folder.read(Path("data") / name);
        }
        return all;
    }

    TestPlatform world_;
    InboxHarness inbox_{world_};
    LibraryLayout layout_ = world_.layout();
    VerifyReport report_;
};

TEST_F(LibraryVerifierTest, ASoundLibraryHasNoProblemsAndIsNotTouched) {
    const auto before = everything();
    EXPECT_EQ(verify(), Problems{});
    EXPECT_EQ(report_.memoryCount, 3u);
    EXPECT_EQ(report_.originalFileCount, 4u);
    EXPECT_EQ(report_.undigestedCount, 0u);
    EXPECT_GE(report_.snapshotCount, 1u);
    EXPECT_EQ(everything(), before);
}

TEST_F(LibraryVerifierTest, FaultsOfOriginalsAreAllFoundAndQuickLeavesOutTheDigests) {
    overwrite(layout_.items() / "a.txt", 2, "P");
    overwrite(layout_.items() / "Run.crumbactivity/media/river.png", 6, "R");
    world_.realFiles->removeFile(layout_.items() / "b.txt");
    world_.folder.write("data/Crumb/Items/stray.txt", "nobody's");
    world_.folder.write("data/Crumb/Items/.nookery-tmp-1/on-its-way.txt", "being captured");
    const auto before = everything();
    EXPECT_EQ(verify(), (Problems{{"changed-original", "a.txt"},
                                  {"changed-original", "river.png"},
                                  {"missing-original", "b.txt"},
                                  {"unlisted-file", "stray.txt"}}));
    EXPECT_EQ(verify(VerifyDepth::quick),
              (Problems{{"missing-original", "b.txt"}, {"unlisted-file", "stray.txt"}}));
    EXPECT_EQ(everything(), before);

    removeTree(*world_.realFiles, layout_.items());
    EXPECT_EQ(verify(), (Problems{{"missing-original", "a.txt"},
                                  {"missing-original", "b.txt"},
                                  {"missing-original", "Run.crumbactivity"},
                                  {"missing-original", "activity.json"},
                                  {"missing-original", "river.png"}}));
}

TEST_F(LibraryVerifierTest, LinkedOriginalsAndFilesCutShortAreFound) {
    auto database = SqliteConnection::open(layout_.database(), SqliteAccess::readWriteCreate);
    database.execute("UPDATE crumbs SET file_path = '/no/such/drive/b.txt' WHERE title = 'b';");
    std::filesystem::resize_file(layout_.items() / "a.txt", 3);
    EXPECT_EQ(verify(VerifyDepth::quick), (Problems{{"changed-original", "a.txt"},
                                                    {"missing-linked-original", "b.txt"},
                                                    {"unlisted-file", "b.txt"}}));
}

TEST_F(LibraryVerifierTest, ADamagedPageIsFoundInEachDatabase) {
    for (const Path& database : {layout_.database(), layout_.sidecar()}) {
        const std::string sound =
            world_.folder.read(database.lexically_relative(world_.folder.path()));
        for (const std::streamoff at : {std::streamoff{0}, std::streamoff{4096}}) {
            overwrite(database, at, std::string(4096, '\x5a'));
            const auto problems = verify();
            EXPECT_EQ(count(problems, "damaged-database"), 1) << database << at;
            EXPECT_EQ(count(problems, "unlisted-file"), 0) << "rows unread say nothing of files";
            overwrite(database, 0, sound);
            EXPECT_EQ(verify(), Problems{});
        }
        world_.realFiles->removeFile(database);
        EXPECT_EQ(count(verify(), "missing-database"), 1);
        overwriteNew(database, sound);
    }
    overwriteNew(layout_.linkRecords(), "not a database at all");
    EXPECT_EQ(verify(), (Problems{{"damaged-database", "phone-link.sqlite3"}}));
}

TEST_F(LibraryVerifierTest, ReceiptsAreCheckedOnceThereAreAny) {
    const Path folder = "data/Crumb/Coffer/Originals";
    {
        world_.folder.write(folder / "kept.pdf", "of a receipt that was removed");
        const Path copy = world_.folder.write(folder / "copy.pdf", "a receipt");
        auto database =
            SqliteConnection::open(layout_.receiptsDatabase(), SqliteAccess::readWriteCreate);
        database.execute(
            "CREATE TABLE receipts (id TEXT, merchant TEXT, original_file_path TEXT);"
            "INSERT INTO receipts VALUES ('1', 'Baker', '" +
            copy.native() + "'), ('2', NULL, NULL);");
        Sidecar sidecar = Sidecar::open(*world_.realFiles, layout_);
        const OriginalFact fact{
            .relativePath = "Coffer/Originals/copy.pdf",
            .memoryID = Uuid::random(),
            .digest = digestOfFile(*world_.realFiles, world_.platform().digester, copy),
            .byteCount = 9};
        sidecar.recordOriginals({&fact, 1});
    }
    EXPECT_EQ(verify(), Problems{});
    EXPECT_EQ(report_.receiptCount, 2u);
    overwriteNew(layout_.receiptOriginals() / "copy.pdf", "A receipt");
    EXPECT_EQ(verify(), (Problems{{"changed-original", "copy.pdf"}}));
    world_.realFiles->removeFile(layout_.receiptOriginals() / "copy.pdf");
    EXPECT_EQ(verify(), (Problems{{"missing-original", "copy.pdf"}}));
    overwrite(layout_.receiptsDatabase(), 0, std::string(8192, '\x5a'));
    EXPECT_EQ(verify(), (Problems{{"damaged-database", "coffer.sqlite3"}}));
}

TEST_F(LibraryVerifierTest, ABrokenSnapshotIsFoundByWhateverBrokeIt) {
    const Path snapshot = newestSnapshot();
    const auto isBroken = [&](VerifyDepth depth) {
        return verify(depth) == Problems{{"broken-snapshot", snapshot.filename()}};
    };
    const Path copy = snapshot / "Items/a.txt";
    overwrite(copy, 1, "P");
    EXPECT_TRUE(isBroken(VerifyDepth::full));
    EXPECT_EQ(verify(VerifyDepth::quick), Problems{});
    world_.realFiles->removeFile(copy);
    EXPECT_TRUE(isBroken(VerifyDepth::quick));
    overwriteNew(copy, "apples");
    EXPECT_EQ(verify(), Problems{});
    overwrite(snapshot / "crumb.sqlite3", 4096, std::string(4096, '\x5a'));
    EXPECT_TRUE(isBroken(VerifyDepth::quick));
    world_.realFiles->removeFile(snapshot / "manifest.json");
    EXPECT_TRUE(isBroken(VerifyDepth::quick));
}

TEST_F(LibraryVerifierTest, ItEndsWhenAskedToAndNeverTakesAMissingLibraryForASoundOne) {
    const auto operation = verifyLibrary(world_.platform(), layout_, VerifyDepth::full);
    world_.digester.beforeDigesting = [&] { operation->stop(); };
    EXPECT_THROW(world_.resultOf(operation), Cancelled);
    world_.digester.beforeDigesting = {};
    layout_.dataHome /= "elsewhere";
    EXPECT_THROW(verify(), FileError);
}

}  // namespace
}  // namespace nookery
