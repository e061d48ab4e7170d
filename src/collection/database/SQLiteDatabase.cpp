#include "collection/database/SQLiteDatabase.h"

#include "collection/database/CollectionStatements.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

constexpr const char* connectionSettings[] = {
    "PRAGMA journal_mode=WAL;",
    "PRAGMA synchronous=NORMAL;",
    "PRAGMA foreign_keys=ON;",
};

bool hasColumn(SqliteConnection& connection, const EnsureColumn& wanted) {
    SqliteStatement columns(connection, "PRAGMA table_info(" + std::string(wanted.table) + ");");
    while (columns.step()) {
        if (columns.text(1) == wanted.column) return true;
    }
    return false;
}

struct SchemaStepRunner {
    SqliteConnection& connection;

    void operator()(std::string_view sql) const { connection.execute(std::string(sql)); }
    void operator()(const EnsureColumn& wanted) const {
        if (hasColumn(connection, wanted)) return;
        connection.execute("ALTER TABLE " + std::string(wanted.table) + " ADD COLUMN " +
                           std::string(wanted.column) + " " + std::string(wanted.type) + ";");
    }
};

}  // namespace

SQLiteDatabase SQLiteDatabase::open(FileSystem& files, const LibraryLayout& layout,
                                    std::chrono::milliseconds busyTimeout) {
    createDirectories(files, layout.library());
    SQLiteDatabase database(
        SqliteConnection::open(layout.database(), SqliteAccess::readWriteCreate, busyTimeout));
    for (const char* setting : connectionSettings) database.connection_.execute(setting);
    for (const SchemaStep& step : collectionSchema) {
        std::visit(SchemaStepRunner{database.connection_}, step);
    }
    return database;
}

SQLiteDatabase SQLiteDatabase::openForReading(const LibraryLayout& layout) {
    return SQLiteDatabase(SqliteConnection::open(layout.database(), SqliteAccess::readOnly));
}

void SQLiteDatabase::clearLibrary(const RecoveryPoint&) {
    SqliteTransaction transaction(connection_);
    for (const std::string_view sql : clearLibraryStatements) connection_.execute(std::string(sql));
    transaction.commit();
}

}  // namespace nookery
