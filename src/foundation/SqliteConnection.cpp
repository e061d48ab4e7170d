#include "foundation/SqliteConnection.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>

#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

/// "file:" URI of a path, every byte that could mean something else written as %NN.
std::string immutableUri(const Path& path) {
    std::string uri = "file:";
    for (const char c : path.native()) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain = byte < 0x80 && (std::isalnum(byte) != 0 || c == '/' || c == '.' ||
                                           c == '-' || c == '_');
        uri += plain ? std::string(1, c) : fmt::format("%{:02X}", byte);
    }
    return uri + "?immutable=1";
}

int flagsFor(SqliteAccess access) {
    switch (access) {
        case SqliteAccess::readWriteCreate:
            return SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
        case SqliteAccess::readOnly:
            return SQLITE_OPEN_READONLY;
        case SqliteAccess::immutable:
            break;
    }
    return SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
}

/// Creates the file for its owner alone: SQLite would let everybody read it, and gives the files
/// beside it the same mode. An existing file is not opened here, because closing it would drop this
/// process's locks on it. SQLite itself reports a failure when it opens the file.
void createPrivately(const Path& path) {
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file >= 0) ::close(file);
}

}  // namespace

void throwDatabaseError(DatabaseFailure failure, sqlite3* connection, int code) {
    if (connection != nullptr) {
        const int extended = sqlite3_extended_errcode(connection);
        throw DatabaseError(failure, sqlite3_errmsg(connection), extended);
    }
    throw DatabaseError(failure,
                        failure == DatabaseFailure::openFailed ? "Unknown SQLite error"
                                                               : "SQLite database is unavailable.",
                        code);
}

void SqliteConnection::Close::operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }

SqliteConnection SqliteConnection::open(const Path& path, SqliteAccess access,
                                        std::chrono::milliseconds busyTimeout) {
    const std::string name = access == SqliteAccess::immutable ? immutableUri(path) : path.native();
    if (access == SqliteAccess::readWriteCreate) createPrivately(path);
    sqlite3* raw = nullptr;
    // The connection is used by one thread at a time, so SQLite need not lock around each call.
    const int code =
        sqlite3_open_v2(name.c_str(), &raw, flagsFor(access) | SQLITE_OPEN_NOMUTEX, nullptr);
    Handle handle(raw);
    if (code != SQLITE_OK) throwDatabaseError(DatabaseFailure::openFailed, raw, code);
    sqlite3_extended_result_codes(raw, 1);
    sqlite3_busy_timeout(raw, static_cast<int>(busyTimeout.count()));
    // A database may come from elsewhere: nothing in its schema may call functions with effects,
    // and nothing may write into the schema's own tables.
    sqlite3_db_config(raw, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_db_config(raw, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    if (access != SqliteAccess::readWriteCreate) {
        // Only the writer may move pages from the log into the file.
        sqlite3_wal_autocheckpoint(raw, 0);
        sqlite3_db_config(raw, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    return SqliteConnection(std::move(handle));
}

void SqliteConnection::execute(const std::string& sql) {
    char* text = nullptr;
    const int code = sqlite3_exec(handle_.get(), sql.c_str(), nullptr, nullptr, &text);
    if (code == SQLITE_OK) return;
    const std::unique_ptr<char, void (*)(void*)> message(text, &sqlite3_free);
    if (message == nullptr) {
        throwDatabaseError(DatabaseFailure::executeFailed, handle_.get(), code);
    }
    throw DatabaseError(DatabaseFailure::executeFailed, message.get(), code);
}

namespace {

using Moment = std::chrono::steady_clock::time_point;

thread_local std::chrono::nanoseconds transactionTime{0};

void addTransactionTime(Moment begun) {
    transactionTime += std::chrono::steady_clock::now() - begun;
}

class TransactionTimer {
  public:
    TransactionTimer() = default;
    TransactionTimer(const TransactionTimer&) = delete;
    TransactionTimer& operator=(const TransactionTimer&) = delete;
    ~TransactionTimer() { addTransactionTime(begun_); }

  private:
    Moment begun_ = std::chrono::steady_clock::now();
};

}  // namespace

std::chrono::nanoseconds timeInTransactions() { return transactionTime; }

void SqliteConnection::makeDurable() {
    const TransactionTimer timer;
    sqlite3_file* log = nullptr;
    sqlite3_file_control(handle_.get(), "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    // No open log: nothing was written since the last checkpoint, which syncs by itself.
    if (log == nullptr || log->pMethods == nullptr) return;
    const int code = log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
    if (code != SQLITE_OK) {
        throw DatabaseError(DatabaseFailure::executeFailed, sqlite3_errstr(code), code);
    }
}

std::string SqliteConnection::integrityReport() {
    SqliteStatement check(*this, "PRAGMA integrity_check;");
    std::string report;
    while (check.step()) {
        if (!report.empty()) report += "; ";
        report += check.string(0);
    }
    return report;
}

void SqliteConnection::leaveWriteAheadLog() {
    SqliteStatement change(*this, "PRAGMA journal_mode=DELETE;");
    if (!change.step() || change.text(0) != "delete") {
        throw DatabaseError(DatabaseFailure::executeFailed, "the write-ahead log stays in use",
                            SQLITE_BUSY);
    }
}

SqliteTransaction::SqliteTransaction(SqliteConnection& connection) : connection_(connection) {
    connection_.execute("BEGIN IMMEDIATE TRANSACTION;");
}

SqliteTransaction::~SqliteTransaction() {
    addTransactionTime(begun_);
    if (!open_) return;
    try {
        connection_.execute("ROLLBACK;");
    } catch (const DatabaseError&) {
        // SQLite rolls back by itself after some errors; the first error is already on its way.
    }
}

void SqliteTransaction::commit() {
    connection_.execute("COMMIT;");
    open_ = false;
}

namespace {

/// Holds a connection's read transaction for the scope, so that what it sees stays as it is.
class ReadTransaction {
  public:
    explicit ReadTransaction(SqliteConnection& connection) : connection_(connection) {
        connection_.execute("BEGIN;");
        // The transaction begins with the first read.
        SqliteStatement(connection_, "SELECT COUNT(*) FROM sqlite_schema;").step();
    }
    ~ReadTransaction() {
        sqlite3_exec(connection_.handle(), "ROLLBACK;", nullptr, nullptr, nullptr);
    }

  private:
    SqliteConnection& connection_;
};

void syncFile(SqliteConnection& connection) {
    sqlite3_file* file = nullptr;
    sqlite3_file_control(connection.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
    const int code = file->pMethods->xSync(file, SQLITE_SYNC_NORMAL);
    if (code != SQLITE_OK) {
        throw DatabaseError(DatabaseFailure::executeFailed, sqlite3_errstr(code), code);
    }
}

using BackupHandle = std::unique_ptr<sqlite3_backup, int (*)(sqlite3_backup*)>;

void copyAllPages(sqlite3_backup* backup, const SqliteBackupPace& pace) {
    while (true) {
        if (pace.stop.stop_requested()) throw Cancelled();
        const int code = sqlite3_backup_step(backup, pace.pagesPerStep);
        if (code == SQLITE_DONE) return;
        if (code != SQLITE_OK) {
            throw DatabaseError(DatabaseFailure::stepFailed, sqlite3_errstr(code), code);
        }
        const int pageCount = sqlite3_backup_pagecount(backup);
        if (pace.progress) pace.progress(pageCount - sqlite3_backup_remaining(backup), pageCount);
        if (pace.pause) pace.pause();
    }
}

}  // namespace

void pauseBackup(std::chrono::milliseconds pause) {
    sqlite3_sleep(static_cast<int>(pause.count()));
}

void backUp(SqliteConnection& source, SqliteConnection& destination, const SqliteBackupPace& pace) {
    const ReadTransaction reading(source);
    // An unfinished copy is of no use, so one sync at the end is enough.
    destination.execute("PRAGMA synchronous=OFF;");
    BackupHandle backup(sqlite3_backup_init(destination.handle(), "main", source.handle(), "main"),
                        &sqlite3_backup_finish);
    if (!backup) {
        throwDatabaseError(DatabaseFailure::prepareFailed, destination.handle(), SQLITE_ERROR);
    }
    copyAllPages(backup.get(), pace);
    if (const int code = sqlite3_backup_finish(backup.release()); code != SQLITE_OK) {
        throwDatabaseError(DatabaseFailure::stepFailed, destination.handle(), code);
    }
    destination.leaveWriteAheadLog();
    syncFile(destination);
}

}  // namespace nookery
