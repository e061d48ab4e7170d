#include "foundation/SqliteConnection.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include "foundation/SqliteStatement.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

using testing::TemporaryDirectory;

/// SQLite's own file layer, as the default for the scope, with every sync of a write-ahead log
/// counted.
class LogSyncCounter {
  public:
    LogSyncCounter() {
        real_ = sqlite3_vfs_find(nullptr);
        counting_ = *real_;
        counting_.zName = "counting";
        counting_.pNext = nullptr;
        counting_.xOpen = [](sqlite3_vfs*, const char* name, sqlite3_file* file, int flags,
                             int* outFlags) {
            const int code = real_->xOpen(real_, name, file, flags, outFlags);
            if (code == SQLITE_OK && (flags & SQLITE_OPEN_WAL) != 0) {
                methods_ = *file->pMethods;
                realSync_ = methods_.xSync;
                methods_.xSync = [](sqlite3_file* log, int how) {
                    ++count;
                    return fails ? SQLITE_IOERR_FSYNC : realSync_(log, how);
                };
                file->pMethods = &methods_;
            }
            return code;
        };
        count = 0;
        fails = false;
        sqlite3_vfs_register(&counting_, 1);
    }
    ~LogSyncCounter() { sqlite3_vfs_unregister(&counting_); }

    static inline int count = 0;
    static inline bool fails = false;

  private:
    static inline sqlite3_vfs* real_ = nullptr;
    static inline sqlite3_io_methods methods_{};
    static inline int (*realSync_)(sqlite3_file*, int) = nullptr;
    sqlite3_vfs counting_{};
};

TEST(SqliteConnection, MakingDurableSyncsTheLogAndReportsASyncThatFails) {
    const TemporaryDirectory folder;
    const LogSyncCounter counter;
    auto connection = SqliteConnection::open(folder / "db", SqliteAccess::readWriteCreate);
    connection.execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;");
    connection.makeDurable();
    connection.execute("CREATE TABLE t (x); INSERT INTO t VALUES (1);");
    const int before = counter.count;
    connection.execute("INSERT INTO t VALUES (2);");
    EXPECT_EQ(counter.count, before)
        << "a commit alone is not synced; the test would prove nothing";
    connection.makeDurable();
    EXPECT_EQ(counter.count, before + 1);
    LogSyncCounter::fails = true;
    EXPECT_THROW(connection.makeDurable(), DatabaseError);
    LogSyncCounter::fails = false;
}

TEST(SqliteConnection, ANewDatabaseAndWhatLiesBesideItAreTheOwnersAlone) {
    const TemporaryDirectory folder;
    auto connection = SqliteConnection::open(folder / "db", SqliteAccess::readWriteCreate);
    connection.execute("PRAGMA journal_mode=WAL; CREATE TABLE t (x);");
    for (const char* name : {"db", "db-wal", "db-shm"}) {
        struct stat status {};
        ASSERT_EQ(::stat((folder / name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 0777, 0600U) << name;
    }
}

TEST(SqliteConnection, ABackupIsOneWholeFileThatOpensAsImmutableUnderAnyName) {
    const TemporaryDirectory folder;
    const Path path = folder / "caf\xE9 100%?#.db";
    {
        auto source = SqliteConnection::open(folder / "live", SqliteAccess::readWriteCreate);
        source.execute("PRAGMA journal_mode=WAL; CREATE TABLE t (x); INSERT INTO t VALUES (7);");
        auto destination = SqliteConnection::open(path, SqliteAccess::readWriteCreate);
        backUp(source, destination, {});
    }
    std::filesystem::remove(folder / "live");
    auto copy = SqliteConnection::open(path, SqliteAccess::immutable);
    SqliteStatement read(copy, "SELECT x FROM t;");
    EXPECT_TRUE(read.step());
    EXPECT_EQ(read.integer(0), 7);
    EXPECT_THROW(copy.execute("DELETE FROM t;"), DatabaseError);
    EXPECT_EQ(folder.filesBelow().size(), 1u);
}

}  // namespace
}  // namespace nookery
