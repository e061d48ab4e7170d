#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>

#include "foundation/DatabaseError.h"
#include "foundation/FileSystem.h"

struct sqlite3;

namespace nookery {

enum class SqliteAccess {
    readWriteCreate,  ///< creates the file, for its owner alone, when it is missing
    readOnly,         ///< beside a writer; creates nothing, never checkpoints
    immutable,        ///< a file that nobody writes, such as a copy; touches nothing beside it
};

/// One open SQLite database. All SQLite failures of the program become DatabaseError here and in
/// SqliteStatement, by `throwDatabaseError`. Used by one thread at a time.
class SqliteConnection {
  public:
    /// How long a call waits for another program's lock before it fails.
    static constexpr std::chrono::milliseconds defaultBusyTimeout{2000};

    static SqliteConnection open(const Path& path, SqliteAccess access,
                                 std::chrono::milliseconds busyTimeout = defaultBusyTimeout);

    /// Runs statements that take no parameters and whose rows are not wanted.
    void execute(const std::string& sql);

    /// Makes every commit so far survive a power cut: with the write-ahead log and "synchronous
    /// NORMAL", a commit by itself survives only the end of the process.
    void makeDurable();

    /// What SQLite's own check finds: "ok", or the faults.
    [[nodiscard]] std::string integrityReport();

    /// Gives up the write-ahead log, so that the file is whole without other files beside it.
    void leaveWriteAheadLog();

    sqlite3* handle() const { return handle_.get(); }

  private:
    struct Close {
        void operator()(sqlite3* handle) const;
    };
    using Handle = std::unique_ptr<sqlite3, Close>;

    explicit SqliteConnection(Handle handle) : handle_(std::move(handle)) {}

    Handle handle_;
};

/// How long this thread has spent in transactions that write, their syncing included: so that what
/// the disk costs can be told from what a program's own work costs.
std::chrono::nanoseconds timeInTransactions();

/// "BEGIN IMMEDIATE TRANSACTION;" now; "ROLLBACK;" at the end of the scope unless committed. A
/// rollback's own failure is ignored, so that the first error is the one that is reported.
class SqliteTransaction {
  public:
    explicit SqliteTransaction(SqliteConnection& connection);
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction&) = delete;
    SqliteTransaction& operator=(const SqliteTransaction&) = delete;

    void commit();

  private:
    SqliteConnection& connection_;
    std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
    bool open_ = true;
};

/// How an online backup goes on.
struct SqliteBackupPace {
    int pagesPerStep = 128;
    /// Called between two steps.
    std::function<void()> pause;
    /// Called after each step.
    std::function<void(int pagesDone, int pageCount)> progress;
    /// Asked before each step; the backup then throws Cancelled.
    std::stop_token stop;
};

/// Copies the whole of `source` into `destination`, whatever others write meanwhile: the copy
/// holds the state at its beginning, since the source is read in one transaction. The copy is a
/// whole file without a log beside it, and durable but for its name. On failure `destination` is of
/// no use; DatabaseError says prepareFailed when the backup could not begin.
void backUp(SqliteConnection& source, SqliteConnection& destination, const SqliteBackupPace& pace);

/// Waits, so that a backup leaves the disk to others between its steps. Not on the main thread.
void pauseBackup(std::chrono::milliseconds pause);

/// Throws `code` with the connection's message. `connection` is null when it could not be opened.
[[noreturn]] void throwDatabaseError(DatabaseFailure failure, sqlite3* connection, int code);

}  // namespace nookery
