#include "collection/database/SQLiteDatabase.h"

#include <gtest/gtest.h>

#include "collection/database/CollectionStatements.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "foundation/SqliteStatement.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

using testing::TestPlatform;

constexpr Timestamp captured{1'700'000'000.25};
constexpr Timestamp later{1'700'000'999.5};

CrumbItem makeItem(const std::string& title, Timestamp createdAt = captured) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = title;
    item.createdAt = createdAt;
    return item;
}

CrumbItemPointer share(CrumbItem item) {
    return std::make_shared<const CrumbItem>(std::move(item));
}

class SQLiteDatabaseTest : public ::testing::Test {
  protected:
    SQLiteDatabase open() {
        return SQLiteDatabase::open(world_.files, world_.layout(), std::chrono::milliseconds(0));
    }

    /// Another program's view of the file.
    SqliteConnection raw() {
        std::filesystem::create_directories(world_.layout().library());
        return SqliteConnection::open(world_.layout().database(), SqliteAccess::readWriteCreate,
                                      std::chrono::milliseconds(0));
    }

    std::string scalar(const std::string& sql) {
        auto connection = raw();
        SqliteStatement statement(connection, sql);
        return statement.step() ? statement.string(0) : "nothing";
    }

    const RecoveryPoint& recoveryPoint() {
        point_ = snapshots_.takeBeforeDestructive("before-test");
        world_.time.settle();
        return point_->outcome()->get();
    }

    TestPlatform world_;
    Platform platform_ = world_.platform();
    CrumbRecoverySnapshots snapshots_{platform_, world_.layout(), [](auto) {}};
    OperationPointer<RecoveryPoint> point_;
};

TEST_F(SQLiteDatabaseTest, ItemsComeBackWholeAndNewestFirst) {
    auto database = open();
    CrumbItem full = makeItem("Title", later);
    full.kind = CrumbKind::image;
    full.text = std::string("with a NUL \0 inside", 19);
    full.urlString = "";
    full.filePath = "/x/Items/caf\xE9";
    full.searchableText = std::string(5'000'000, 'x');
    full.note = "Ünïcode 日本語";
    full.groupID = Uuid::random();
    full.sourceItemID = Uuid::random();
    const CrumbItem bare = makeItem("");
    database.saveItem(bare, captured);
    database.saveItem(full, captured);
    const CrumbItemList items = database.loadItems();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(*items[0], full);
    EXPECT_EQ(*items[1], bare);
}

TEST_F(SQLiteDatabaseTest, SavingAgainKeepsTheTimeOfCaptureAndTheColumnsOfOtherStatements) {
    auto database = open();
    CrumbItem item = makeItem("First");
    database.saveItem(item, captured);
    const std::vector<double> vector{1.5, -0.25, 1e-300};
    const std::string rtf("{\\rtf1 \0 }", 10);
    database.saveEmbedding(item.id, "model-1", vector, captured);
    database.saveRichText(item.id, std::as_bytes(std::span(rtf)), captured);
    item.title = "Second";
    item.createdAt = later;
    database.saveItem(item, later);

    const auto loaded = database.loadItems().at(0);
    EXPECT_EQ(loaded->title, "Second");
    EXPECT_EQ(loaded->createdAt, captured);
    EXPECT_EQ(scalar("SELECT modified_at FROM crumbs;"), "1700000999.5");
    std::vector<double> seen;
    database.loadEmbeddings([&](const Uuid& id, std::span<const double> values) {
        EXPECT_EQ(id, item.id);
        seen.assign(values.begin(), values.end());
    });
    EXPECT_EQ(seen, vector);
    EXPECT_EQ(scalar("SELECT length(embedding_blob) FROM crumbs;"), "24");
    const LoadedItems whole = database.loadItemsWithBodies("model-1");
    EXPECT_EQ(whole.items.at(0)->title, "Second");
    EXPECT_TRUE(whole.embedded.contains(item.id));
    EXPECT_EQ(whole.richTexts.at(item.id).size(), rtf.size());
    EXPECT_TRUE(database.loadItemsWithBodies("model-2").embedded.empty());
}

TEST_F(SQLiteDatabaseTest, RowsThatAreNoMemoriesAreLeftOutAndStay) {
    auto database = open();
    database.saveItem(makeItem("good"), captured);
    raw().execute(
        "INSERT INTO crumbs (id, title, kind, created_at, modified_at) VALUES "
        "('not-a-uuid', 't', 'text', 1, 1), "
        "('00000000-0000-4000-8000-000000000001', 't', 'video', 1, 1), "
        "('00000000-0000-4000-8000-000000000002', 't', 'Text', 1, 1);"
        "UPDATE crumbs SET group_id = 'nonsense', source_item_id = '';");
    const auto items = database.loadItems();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0]->groupID, std::nullopt);
    EXPECT_EQ(database.itemCount(), 4);
}

TEST_F(SQLiteDatabaseTest, AnOldFileGainsExactlyTheMissingColumnsAndKeepsItsRows) {
    const std::vector<std::string> old{"rich_text_rtf BLOB", "group_id TEXT",
                                       "source_item_id TEXT"};
    for (std::size_t missing = 0; missing <= old.size(); ++missing) {
        TestPlatform world;
        const auto layout = world.layout();
        std::filesystem::create_directories(layout.library());
        std::string columns;
        for (std::size_t i = missing; i < old.size(); ++i) columns += ", " + old[i];
        SqliteConnection::open(layout.database(), SqliteAccess::readWriteCreate)
            .execute(
                "CREATE TABLE crumbs (id TEXT PRIMARY KEY NOT NULL, title TEXT NOT NULL, "
                "kind TEXT NOT NULL, created_at REAL NOT NULL, modified_at REAL NOT NULL, "
                "text_content TEXT, url_string TEXT, file_path TEXT, "
                "searchable_text TEXT NOT NULL DEFAULT '', note TEXT NOT NULL DEFAULT '', "
                "embedding_model TEXT, embedding_blob BLOB" +
                columns +
                ");"
                "INSERT INTO crumbs (id, title, kind, created_at, modified_at) VALUES "
                "('00000000-0000-4000-8000-000000000001', 'old', 'url', 5, 5);");
        const auto schema = [&layout] {
            auto connection = SqliteConnection::open(layout.database(), SqliteAccess::readOnly);
            SqliteStatement rows(connection,
                                 "SELECT group_concat(name) FROM pragma_table_info('crumbs');");
            rows.step();
            return rows.string(0);
        };
        const auto items = SQLiteDatabase::open(world.files, layout).loadItems();
        ASSERT_EQ(items.size(), 1u);
        EXPECT_EQ(items[0]->groupID, std::nullopt);
        const std::string upgraded = schema();
        for (const char* column : {"rich_text_rtf", "group_id", "source_item_id"}) {
            EXPECT_NE(upgraded.find(column), std::string::npos) << upgraded;
        }
        SQLiteDatabase::open(world.files, layout);
        EXPECT_EQ(schema(), upgraded);
    }
}

TEST_F(SQLiteDatabaseTest, DeletingTakesWhatBelongsToTheMemoryAndUngroupsWhatBelongsToAGroup) {
    auto database = open();
    const CrumbGroup group{Uuid::random(), "Group", captured};
    CrumbItem item = makeItem("one");
    item.groupID = group.id;
    const CrumbItem other = makeItem("two", later);
    database.saveGroup(group, captured);
    database.saveItems({share(item), share(other)}, captured);
    const CrumbFace face{.id = Uuid::random(),
                         .crumbID = item.id,
                         .featureModel = "m",
                         .feature = {0.5, 2},
                         .createdAt = captured};
    database.saveFace(face);
    database.markAnalysed(item.id, captured);
    raw().execute("INSERT INTO crumb_relationships VALUES ('" + item.id.toString() + "', '" +
                  other.id.toString() + "', 'x', 1, 1);");
    EXPECT_EQ(database.loadFaces(), std::vector{face});

    const RecoveryPoint& point = recoveryPoint();
    ASSERT_TRUE(point.snapshotName());
    database.deleteGroup(group.id, point);
    EXPECT_TRUE(database.loadGroups().empty());
    EXPECT_EQ(database.loadItems().at(1)->groupID, std::nullopt);
    database.deleteItem(item.id, point);
    EXPECT_EQ(database.itemCount(), 1);
    EXPECT_TRUE(database.loadFaces().empty());
    EXPECT_TRUE(database.analysedItems().empty());
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM crumb_relationships;"), "0");
}

TEST_F(SQLiteDatabaseTest, PoolsTakeInRejectAndMergeFaces) {
    auto database = open();
    const CrumbItem item = makeItem("faces");
    database.saveItem(item, captured);
    const CrumbFaceCluster kept{Uuid::random(), "Ann", captured, captured};
    const CrumbFaceCluster absorbed{Uuid::random(), std::nullopt, later, later};
    database.savePool(kept, captured);
    database.savePool(absorbed, later);
    EXPECT_EQ(database.loadPools(), (std::vector{kept, absorbed}));

    CrumbFace arriving{.id = Uuid::random(),
                       .crumbID = item.id,
                       .clusterID = absorbed.id,
                       .featureModel = "m",
                       .createdAt = captured};
    CrumbFace stranger = arriving;
    stranger.id = Uuid::random();
    stranger.clusterID = std::nullopt;
    stranger.faceIndex = 1;
    database.replaceFaces(item.id, std::vector{stranger, arriving});
    EXPECT_TRUE(database.analysedItems().contains(item.id)) << "faces count without a mark";
    for (const CrumbFace& face : {arriving, stranger}) {
        database.rejectFace({face.id, kept.id}, captured);
        database.rejectFace({face.id, kept.id}, later);
    }
    database.ignoreFace(stranger.id, captured);
    EXPECT_TRUE(database.loadIgnoredFaces().contains(stranger.id));

    database.mergePools(kept.id, kept.id);
    database.mergePools(kept.id, absorbed.id);
    EXPECT_EQ(database.loadPools().size(), 1u);
    EXPECT_EQ(database.loadFaces().at(0).clusterID, kept.id);
    EXPECT_EQ(database.loadRejections(), (std::vector<CrumbFaceRejection>{{stranger.id, kept.id}}));
    database.undoRejection({stranger.id, kept.id});
    EXPECT_TRUE(database.loadRejections().empty());
    database.assignFace(arriving.id, std::nullopt);
    EXPECT_EQ(database.loadFaces().at(0).clusterID, std::nullopt);
}

TEST_F(SQLiteDatabaseTest, AStatementThatFailsInTheMiddleUndoesTheWholeOperation) {
    auto database = open();
    const CrumbGroup group{Uuid::random(), "Group", captured};
    CrumbItem item = makeItem("poison");
    item.groupID = group.id;
    database.saveGroup(group, captured);
    database.saveItem(item, captured);
    const RecoveryPoint& point = recoveryPoint();
    raw().execute(
        "CREATE TRIGGER a BEFORE DELETE ON crumb_groups BEGIN SELECT RAISE(ABORT, "
        "'refused'); END;"
        "CREATE TRIGGER b BEFORE INSERT ON crumbs WHEN NEW.title = 'bad' BEGIN "
        "SELECT RAISE(ROLLBACK, 'refused too'); END;");
    try {
        database.deleteGroup(group.id, point);
        FAIL() << "the group was deleted";
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.description(), "Could not complete NOOKERY database command: refused");
    }
    EXPECT_EQ(database.loadItems().at(0)->groupID, group.id);
    EXPECT_THROW(database.clearLibrary(point), DatabaseError);
    EXPECT_EQ(database.itemCount(), 1);
    try {
        database.saveItems({share(makeItem("a")), share(makeItem("bad")), share(makeItem("c"))},
                           captured);
        FAIL() << "the bad row was saved";
    } catch (const DatabaseError& error) {
        // SQLite has rolled back by itself: our own rollback fails, and must not hide the cause.
        EXPECT_EQ(error.message(), "refused too");
    }
    EXPECT_EQ(database.itemCount(), 1);
}

TEST_F(SQLiteDatabaseTest, ClearingEmptiesEveryTableAndAnEmptyFileToo) {
    auto database = open();
    const RecoveryPoint& point = recoveryPoint();
    database.clearLibrary(point);
    const CrumbItem item = makeItem("x");
    database.saveItem(item, captured);
    database.saveGroup({Uuid::random(), "g", captured}, captured);
    database.saveFace({.id = Uuid::random(), .crumbID = item.id, .featureModel = "m"});
    database.clearLibrary(point);
    for (const char* table : {"crumbs", "crumb_groups", "crumb_faces"}) {
        EXPECT_EQ(scalar("SELECT COUNT(*) FROM " + std::string(table) + ";"), "0") << table;
    }
    EXPECT_EQ(database.integrityReport(), "ok");
}

TEST_F(SQLiteDatabaseTest, FailuresNameTheirCaseAndSayWhatToDo) {
    std::filesystem::create_directories(world_.layout().database());
    try {
        open();
        FAIL() << "a folder was opened as a database";
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.description(),
                  "Could not open NOOKERY database: unable to open database file");
        EXPECT_FALSE(error.advice().empty());
    }
    std::filesystem::remove(world_.layout().database());
    world_.folder.write("data/Crumb/crumb.sqlite3", std::string(8192, 'x'));
    try {
        open();
        FAIL() << "rubbish was opened as a database";
    } catch (const DatabaseError& error) {
        EXPECT_EQ(error.failure(), DatabaseFailure::executeFailed);
        EXPECT_TRUE(error.isDamaged());
    }
    EXPECT_EQ(world_.folder.read("data/Crumb/crumb.sqlite3"), std::string(8192, 'x'));
    std::filesystem::remove(world_.layout().database());
    EXPECT_THROW(SQLiteDatabase::openForReading(world_.layout()), DatabaseError);
    EXPECT_FALSE(std::filesystem::exists(world_.layout().database()));

    auto database = open();
    auto other = raw();
    other.execute("BEGIN IMMEDIATE;");
    try {
        database.saveItems({share(makeItem("a"))}, captured);
        FAIL() << "saved into a locked database";
    } catch (const DatabaseError& error) {
        EXPECT_TRUE(error.isBusy()) << error.description();
    }
}

TEST_F(SQLiteDatabaseTest, AFullDiskUndoesTheSaveAndSaysSo) {
    auto connection = raw();
    connection.execute("CREATE TABLE t (x); PRAGMA max_page_count=20;");
    try {
        SqliteTransaction transaction(connection);
        SqliteStatement insert(connection, "INSERT INTO t VALUES (?);");
        for (int i = 0; i < 100; ++i) insert.with(std::string(4000, 'x')).run();
        FAIL() << "400 kB went into 80";
    } catch (const DatabaseError& error) {
        EXPECT_TRUE(error.isDiskFull());
        EXPECT_EQ(error.advice(), "Free some space and try again.");
    }
    EXPECT_EQ(scalar("SELECT COUNT(*) FROM t;"), "0");
}

TEST_F(SQLiteDatabaseTest, AReaderSeesSavesAndCannotWrite) {
    auto database = open();
    auto reader = SQLiteDatabase::openForReading(world_.layout());
    database.saveItem(makeItem("fresh"), captured);
    EXPECT_EQ(reader.itemCount(), 1);
    EXPECT_THROW(reader.saveItem(makeItem("x"), captured), DatabaseError);
}

}  // namespace
}  // namespace nookery
