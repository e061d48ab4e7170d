#include "archive/ArchiveDatabase.h"

#include <fmt/format.h>

#include "archive/ArchiveError.h"
#include "collection/safety/RestoreError.h"
#include "foundation/SqliteConnection.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

SqliteConnection openOrThrow(const Path& path, SqliteAccess access, const char* failure) {
    try {
        return SqliteConnection::open(path, access);
    } catch (const DatabaseError& error) {
        throw ArchiveError::sqlite(fmt::format("{}: {}", failure, error.message()));
    }
}

std::string backupFailure(const DatabaseError& error) {
    if (error.failure() == DatabaseFailure::prepareFailed) return "Cannot begin backup";
    return fmt::format("Backup did not finish ({})", error.code());
}

SqliteConnection openArchived(const Path& path) {
    try {
        return SqliteConnection::open(path, SqliteAccess::immutable);
    } catch (const DatabaseError& error) {
        throw RestoreError(fmt::format("Cannot open archived database {}: {}", displayName(path),
                                       error.message()));
    }
}

[[noreturn]] void throwFailedValidation(const std::string& result) {
    throw RestoreError("Archived database failed integrity validation: " + result);
}

void refuseForeignSchema(SqliteConnection& connection) {
    SqliteStatement strangers(connection,
                              "SELECT type, name FROM sqlite_schema WHERE type NOT IN "
                              "('table', 'index') OR (type = 'table' AND rootpage = 0);");
    if (!strangers.step()) return;
    const bool isTable = strangers.text(0) == "table";
    throwFailedValidation(fmt::format("it holds the {} \"{}\", which does not belong there",
                                      isTable ? "virtual table" : strangers.string(0),
                                      strangers.string(1)));
}

}  // namespace

void snapshotDatabase(FileSystem& files, const Path& live, const Path& copy, std::stop_token stop) {
    auto source = openOrThrow(live, SqliteAccess::readOnly, "Cannot open source database");
    files.createFile(copy)->close();  // as private as every other file
    auto destination =
        openOrThrow(copy, SqliteAccess::readWriteCreate, "Cannot create destination database");
    SqliteBackupPace pace;
    pace.pagesPerStep = 4096;
    pace.stop = std::move(stop);
    try {
        backUp(source, destination, pace);
    } catch (const DatabaseError& error) {
        throw ArchiveError::sqlite(backupFailure(error));
    }
}

void checkArchivedDatabase(const Path& path, const char* probe) {
    auto connection = openArchived(path);
    std::string result;
    try {
        result = connection.integrityReport();
    } catch (const DatabaseError& error) {
        throw RestoreError(
            fmt::format("Could not check integrity of {}: {}", displayName(path), error.message()));
    }
    if (result != "ok") throwFailedValidation(result);
    try {
        refuseForeignSchema(connection);
        SqliteStatement(connection, probe).step();
    } catch (const DatabaseError& error) {
        throwFailedValidation(error.message());
    }
}

}  // namespace nookery
