#include "collection/database/Sidecar.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

/// The statements that make version k + 1 out of version k. docs/formats/sidecar.md describes the
/// newest. Paths and state are blobs: a name may hold any bytes.
constexpr std::array schemaSteps = {
    R"sql(
CREATE TABLE originals (
    path BLOB PRIMARY KEY NOT NULL,
    memory_id TEXT NOT NULL,
    digest BLOB NOT NULL,
    byte_count INTEGER NOT NULL,
    modified_nanoseconds INTEGER NOT NULL
) WITHOUT ROWID;
CREATE INDEX idx_originals_digest ON originals(digest);
CREATE TABLE pending_originals (path BLOB PRIMARY KEY NOT NULL) WITHOUT ROWID;
CREATE TABLE pending_work (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    memory_id TEXT NOT NULL,
    task TEXT NOT NULL,
    attempts INTEGER NOT NULL DEFAULT 0,
    last_failure TEXT,
    UNIQUE (memory_id, task)
);
CREATE TABLE state (key TEXT PRIMARY KEY NOT NULL, value BLOB NOT NULL) WITHOUT ROWID;
)sql",
    R"sql(
CREATE TABLE problems (
    id TEXT PRIMARY KEY NOT NULL,
    kind TEXT NOT NULL,
    path BLOB NOT NULL,
    memory_id TEXT,
    message TEXT NOT NULL,
    advice TEXT NOT NULL,
    first_seen REAL NOT NULL,
    last_seen REAL NOT NULL,
    count INTEGER NOT NULL,
    dismissed INTEGER NOT NULL
) WITHOUT ROWID;
)sql",
    R"sql(
CREATE TABLE steps (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    state INTEGER NOT NULL,
    name TEXT NOT NULL,
    at REAL NOT NULL,
    change_count INTEGER NOT NULL,
    byte_count INTEGER NOT NULL,
    changes BLOB NOT NULL
);
CREATE TABLE step_contents (
    step INTEGER NOT NULL,
    part INTEGER NOT NULL,
    bytes BLOB NOT NULL,
    PRIMARY KEY (step, part)
);
)sql",
    R"sql(
CREATE TABLE recognised_pages (
    memory_id TEXT NOT NULL,
    page INTEGER NOT NULL,
    reading INTEGER NOT NULL,
    content BLOB NOT NULL,
    PRIMARY KEY (memory_id, page)
);
)sql",
};

constexpr const char* originalColumns =
    "SELECT path, memory_id, digest, byte_count, modified_nanoseconds FROM originals ";
constexpr const char* workColumns =
    "SELECT memory_id, task, attempts, last_failure FROM pending_work ";

std::int64_t versionOf(SqliteConnection& connection) {
    SqliteStatement version(connection, "PRAGMA user_version;");
    version.step();
    return version.integer(0);
}

void refuseNewer(std::int64_t version) {
    if (version <= static_cast<std::int64_t>(schemaSteps.size())) return;
    throw DatabaseError(
        DatabaseFailure::openFailed,
        fmt::format("sidecar.sqlite3 has format {}, and this program knows up to {}: it was "
                    "written by a newer NOOKERY",
                    version, schemaSteps.size()),
        0);
}

void upgrade(SqliteConnection& connection) {
    const std::int64_t version = versionOf(connection);
    refuseNewer(version);
    if (version == static_cast<std::int64_t>(schemaSteps.size())) return;
    SqliteTransaction transaction(connection);
    for (auto step = static_cast<std::size_t>(version); step < schemaSteps.size(); ++step) {
        connection.execute(schemaSteps[step]);
    }
    connection.execute(fmt::format("PRAGMA user_version={};", schemaSteps.size()));
    transaction.commit();
}

std::span<const std::byte> bytesOf(const Path& path) {
    return std::as_bytes(std::span(path.native()));
}

std::string stringOf(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

[[noreturn]] void throwDamagedRow(const char* table) {
    throw DatabaseError(DatabaseFailure::stepFailed,
                        fmt::format("a row of {} in sidecar.sqlite3 is damaged", table), 0);
}

OriginalFact factFromRow(const SqliteStatement& row) {
    OriginalFact fact;
    fact.relativePath = Path(stringOf(row.blob(0)));
    const auto id = row.uuid(1);
    const auto digest = row.blob(2);
    if (!id || digest.size() != fact.digest.bytes.size()) throwDamagedRow("originals");
    fact.memoryID = *id;
    std::transform(digest.begin(), digest.end(), fact.digest.bytes.begin(),
                   [](std::byte byte) { return std::to_integer<std::uint8_t>(byte); });
    fact.byteCount = row.integer(3);
    fact.modifiedNanoseconds = row.integer(4);
    return fact;
}

std::vector<OriginalFact> collectFacts(SqliteStatement& rows) {
    std::vector<OriginalFact> facts;
    while (rows.step()) facts.push_back(factFromRow(rows));
    return facts;
}

std::vector<PendingWork> collectWork(SqliteStatement& rows) {
    std::vector<PendingWork> work;
    while (rows.step()) {
        const auto id = rows.uuid(0);
        if (!id) throwDamagedRow("pending_work");
        work.push_back(
            {*id, rows.string(1), static_cast<int>(rows.integer(2)), rows.optionalString(3)});
    }
    return work;
}

/// Runs one statement for each value, in one transaction.
template <typename Values, typename Bind>
void runForEach(SqliteConnection& connection, const char* sql, const Values& values, Bind bind) {
    SqliteTransaction transaction(connection);
    SqliteStatement statement(connection, sql);
    for (const auto& value : values) {
        bind(statement, value);
        statement.run();
    }
    transaction.commit();
}

void bindPath(SqliteStatement& statement, const Path& path) { statement.with(bytesOf(path)); }

}  // namespace

Sidecar Sidecar::open(FileSystem& files, const LibraryLayout& layout,
                      std::chrono::milliseconds busyTimeout) {
    createDirectories(files, layout.library());
    return openForWriting(layout.sidecar(), busyTimeout);
}

Sidecar Sidecar::create(const Path& path) {
    return openForWriting(path, SqliteConnection::defaultBusyTimeout);
}

Sidecar Sidecar::openForWriting(const Path& path, std::chrono::milliseconds busyTimeout) {
    auto connection = SqliteConnection::open(path, SqliteAccess::readWriteCreate, busyTimeout);
    connection.execute("PRAGMA journal_mode=WAL;");
    connection.execute("PRAGMA synchronous=NORMAL;");
    upgrade(connection);
    return Sidecar(std::move(connection));
}

Sidecar Sidecar::openForReading(const Path& path, SqliteAccess access) {
    auto connection = SqliteConnection::open(path, access);
    refuseNewer(versionOf(connection));
    return Sidecar(std::move(connection));
}

void Sidecar::recordOriginals(std::span<const OriginalFact> facts) {
    runForEach(connection_,
               "INSERT INTO originals (path, memory_id, digest, byte_count, modified_nanoseconds) "
               "VALUES (?, ?, ?, ?, ?) ON CONFLICT(path) DO UPDATE SET "
               "memory_id = excluded.memory_id, digest = excluded.digest, "
               "byte_count = excluded.byte_count, "
               "modified_nanoseconds = excluded.modified_nanoseconds;",
               facts, [](SqliteStatement& save, const OriginalFact& fact) {
                   save.with(bytesOf(fact.relativePath), fact.memoryID,
                             std::as_bytes(std::span(fact.digest.bytes)), fact.byteCount,
                             fact.modifiedNanoseconds);
               });
}

std::vector<OriginalFact> Sidecar::originals() {
    SqliteStatement rows(connection_, std::string(originalColumns) + "ORDER BY path;");
    return collectFacts(rows);
}

std::vector<OriginalFact> Sidecar::originalsWithDigest(const Sha256Digest& digest) {
    SqliteStatement rows(connection_,
                         std::string(originalColumns) + "WHERE digest = ? ORDER BY path;");
    return collectFacts(rows.with(std::as_bytes(std::span(digest.bytes))));
}

std::optional<OriginalFact> Sidecar::original(const Path& relativePath) {
    SqliteStatement rows(connection_, std::string(originalColumns) + "WHERE path = ?;");
    rows.with(bytesOf(relativePath));
    return rows.step() ? std::optional(factFromRow(rows)) : std::nullopt;
}

std::vector<OriginalFact> Sidecar::originalsAt(const Path& relativePath) {
    SqliteStatement rows(
        connection_,
        std::string(originalColumns) + "WHERE path = ? OR (path > ? AND path < ?) ORDER BY path;");
    // Paths are bytes: what lies below "a" is between "a/" and "a0", the byte after the slash.
    const Path first = relativePath.native() + "/";
    const Path end = relativePath.native() + "0";
    return collectFacts(rows.with(bytesOf(relativePath), bytesOf(first), bytesOf(end)));
}

void Sidecar::forgetOriginals(std::span<const Path> relativePaths) {
    runForEach(connection_, "DELETE FROM originals WHERE path = ?;", relativePaths, bindPath);
}

void Sidecar::addPendingOriginals(std::span<const Path> relativePaths) {
    runForEach(connection_, "INSERT OR IGNORE INTO pending_originals (path) VALUES (?);",
               relativePaths, bindPath);
}

void Sidecar::removePendingOriginals(std::span<const Path> relativePaths) {
    runForEach(connection_, "DELETE FROM pending_originals WHERE path = ?;", relativePaths,
               bindPath);
}

std::vector<Path> Sidecar::pendingOriginals() {
    std::vector<Path> paths;
    SqliteStatement rows(connection_, "SELECT path FROM pending_originals ORDER BY path;");
    while (rows.step()) paths.emplace_back(stringOf(rows.blob(0)));
    return paths;
}

void Sidecar::addWork(std::span<const Uuid> memoryIDs, std::string_view task) {
    runForEach(connection_, "INSERT OR IGNORE INTO pending_work (memory_id, task) VALUES (?, ?);",
               memoryIDs, [task](SqliteStatement& add, const Uuid& id) { add.with(id, task); });
}

void Sidecar::finishWork(std::span<const Uuid> memoryIDs, std::string_view task) {
    runForEach(connection_, "DELETE FROM pending_work WHERE memory_id = ? AND task = ?;", memoryIDs,
               [task](SqliteStatement& finish, const Uuid& id) { finish.with(id, task); });
}

void Sidecar::recordWorkBegun(std::span<const Uuid> memoryIDs, std::string_view task) {
    runForEach(connection_,
               "INSERT INTO pending_work (memory_id, task, attempts, last_failure) "
               "VALUES (?1, ?2, 1, ?3) ON CONFLICT(memory_id, task) DO UPDATE SET "
               "attempts = attempts + 1, last_failure = excluded.last_failure;",
               memoryIDs, [task](SqliteStatement& note, const Uuid& id) {
                   note.with(id, task, workEndedTheProgram);
               });
}

void Sidecar::takeWorkBack(std::span<const Uuid> memoryIDs, std::string_view task) {
    runForEach(connection_,
               "UPDATE pending_work SET attempts = max(0, attempts - 1), last_failure = NULL "
               "WHERE memory_id = ? AND task = ?;",
               memoryIDs,
               [task](SqliteStatement& takeBack, const Uuid& id) { takeBack.with(id, task); });
}

void Sidecar::recordWorkFailure(const Uuid& memoryID, std::string_view task,
                                std::string_view failure) {
    SqliteStatement note(connection_,
                         "UPDATE pending_work SET last_failure = ? "
                         "WHERE memory_id = ? AND task = ?;");
    note.with(failure, memoryID, task).run();
}

std::vector<PendingWork> Sidecar::pendingWork() {
    SqliteStatement rows(connection_, std::string(workColumns) + "ORDER BY number;");
    return collectWork(rows);
}

std::vector<PendingWork> Sidecar::pendingWork(std::string_view task) {
    SqliteStatement rows(connection_, std::string(workColumns) + "WHERE task = ? ORDER BY number;");
    return collectWork(rows.with(task));
}

void Sidecar::forgetMemories(std::span<const Uuid> memoryIDs) {
    for (const char* sql : {"DELETE FROM pending_work WHERE memory_id = ?;",
                            "DELETE FROM recognised_pages WHERE memory_id = ?;"}) {
        runForEach(connection_, sql, memoryIDs,
                   [](SqliteStatement& forget, const Uuid& id) { forget.with(id); });
    }
}

void Sidecar::forgetAllMemories() {
    SqliteTransaction transaction(connection_);
    connection_.execute("DELETE FROM originals;");
    connection_.execute("DELETE FROM pending_work;");
    connection_.execute("DELETE FROM recognised_pages;");
    transaction.commit();
}

std::optional<std::string> Sidecar::state(std::string_view key) {
    SqliteStatement rows(connection_, "SELECT value FROM state WHERE key = ?;");
    rows.with(key);
    return rows.step() ? std::optional(stringOf(rows.blob(0))) : std::nullopt;
}

void Sidecar::setState(std::string_view key, std::string_view value) {
    SqliteStatement set(connection_,
                        "INSERT INTO state (key, value) VALUES (?, ?) "
                        "ON CONFLICT(key) DO UPDATE SET value = excluded.value;");
    set.with(key, std::as_bytes(std::span(value))).run();
}

void Sidecar::removeState(std::string_view key) {
    SqliteStatement remove(connection_, "DELETE FROM state WHERE key = ?;");
    remove.with(key).run();
}

}  // namespace nookery
