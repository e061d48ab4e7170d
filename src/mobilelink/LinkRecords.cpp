#include "mobilelink/LinkRecords.h"

#include <algorithm>
#include <array>

#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

constexpr int formatVersion = 2;

constexpr const char* schema = R"sql(
DROP TABLE IF EXISTS attachments;
DROP TABLE IF EXISTS events;
CREATE TABLE attachments (
    memory_id TEXT PRIMARY KEY NOT NULL,
    key_id BLOB NOT NULL,
    source BLOB NOT NULL,
    source_byte_count INTEGER NOT NULL,
    source_modified_nanoseconds INTEGER NOT NULL,
    sealed_modified_nanoseconds INTEGER NOT NULL,
    sealed_changed_nanoseconds INTEGER NOT NULL,
    nonce BLOB NOT NULL,
    tag BLOB NOT NULL
) WITHOUT ROWID;
CREATE TABLE events (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    time REAL NOT NULL,
    kind TEXT NOT NULL,
    text TEXT NOT NULL
);
PRAGMA user_version=2;
)sql";

constexpr const char* eventColumns = "SELECT time, kind, text FROM events ";

std::int64_t versionOf(SqliteConnection& connection) {
    SqliteStatement version(connection, "PRAGMA user_version;");
    version.step();
    return version.integer(0);
}

void refuseNewer(std::int64_t version) {
    if (version <= formatVersion) return;
    throw DatabaseError(DatabaseFailure::openFailed,
                        "phone-link.sqlite3 was written by a newer NOOKERY", 0);
}

std::span<const std::byte> bytesOf(const Sha256Digest& digest) {
    return std::as_bytes(std::span(digest.bytes));
}

/// Zeros for a row that someone has tampered with: it then matches nothing.
template <typename Array>
Array arrayFrom(std::span<const std::byte> blob) {
    Array array{};
    if (blob.size() == array.size()) {
        std::transform(blob.begin(), blob.end(), array.begin(), [](std::byte byte) {
            return static_cast<typename Array::value_type>(byte);
        });
    }
    return array;
}

PublishedAttachment attachmentFrom(const SqliteStatement& row, const Uuid& memoryID) {
    PublishedAttachment attachment{.memoryID = memoryID};
    attachment.keyID.bytes = arrayFrom<decltype(Sha256Digest::bytes)>(row.blob(1));
    const auto source = row.blob(2);
    attachment.source = std::string(reinterpret_cast<const char*>(source.data()), source.size());
    attachment.sourceByteCount = row.integer(3);
    attachment.sourceModifiedNanoseconds = row.integer(4);
    attachment.sealedModifiedNanoseconds = row.integer(5);
    attachment.sealedChangedNanoseconds = row.integer(6);
    attachment.mark.nonce = arrayFrom<EncryptionNonce>(row.blob(7));
    attachment.mark.tag = arrayFrom<AuthenticationTag>(row.blob(8));
    return attachment;
}

std::vector<LinkEvent> collectEvents(SqliteStatement& rows) {
    std::vector<LinkEvent> events;
    while (rows.step()) events.push_back({rows.date(0), rows.string(1), rows.string(2)});
    return events;
}

}  // namespace

Sha256Digest keyIDOf(const EncryptionKey& key, const ContentDigester& digester) {
    constexpr std::string_view purpose = "NOOKERY phone link, key identifier";
    const auto stream = digester.sha256();
    stream->update(std::as_bytes(std::span(purpose)));
    stream->update(key.bytes());
    return stream->finish();
}

LinkRecords LinkRecords::openForWriting(const Path& path) {
    auto connection = SqliteConnection::open(path, SqliteAccess::readWriteCreate);
    connection.execute("PRAGMA journal_mode=WAL;");
    connection.execute("PRAGMA synchronous=NORMAL;");
    const std::int64_t version = versionOf(connection);
    refuseNewer(version);
    if (version < formatVersion) {
        SqliteTransaction transaction(connection);
        connection.execute(schema);
        transaction.commit();
    }
    return LinkRecords(std::move(connection));
}

LinkRecords LinkRecords::open(FileSystem& files, const Path& path) try {
    return openForWriting(path);
} catch (const DatabaseError& error) {
    if (!error.isDamaged()) throw;
    for (const char* companion : {"", "-wal", "-shm"}) {
        removeTree(files, Path(path.native() + companion));
    }
    return openForWriting(path);
}

std::optional<LinkRecords> LinkRecords::openForReading(FileSystem& files, const Path& path) {
    if (!files.status(path)) return std::nullopt;
    auto connection = SqliteConnection::open(path, SqliteAccess::readOnly);
    refuseNewer(versionOf(connection));
    return LinkRecords(std::move(connection));
}

std::unordered_map<Uuid, PublishedAttachment> LinkRecords::attachments() {
    std::unordered_map<Uuid, PublishedAttachment> found;
    SqliteStatement rows(connection_,
                         "SELECT memory_id, key_id, source, source_byte_count, "
                         "source_modified_nanoseconds, sealed_modified_nanoseconds, "
                         "sealed_changed_nanoseconds, nonce, tag FROM attachments;");
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) found.emplace(*id, attachmentFrom(rows, *id));
    }
    return found;
}

void LinkRecords::record(std::span<const PublishedAttachment> attachments) {
    SqliteTransaction transaction(connection_);
    SqliteStatement statement(connection_,
                              "INSERT OR REPLACE INTO attachments (memory_id, key_id, source, "
                              "source_byte_count, source_modified_nanoseconds, "
                              "sealed_modified_nanoseconds, "
                              "sealed_changed_nanoseconds, nonce, tag) "
                              "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?);");
    for (const PublishedAttachment& attachment : attachments) {
        statement
            .with(attachment.memoryID, bytesOf(attachment.keyID),
                  std::as_bytes(std::span(attachment.source.native())), attachment.sourceByteCount,
                  attachment.sourceModifiedNanoseconds, attachment.sealedModifiedNanoseconds,
                  attachment.sealedChangedNanoseconds,
                  std::span<const std::byte>(attachment.mark.nonce),
                  std::span<const std::byte>(attachment.mark.tag))
            .run();
    }
    transaction.commit();
}

void LinkRecords::forgetAttachment(const Uuid& memoryID) {
    SqliteStatement(connection_, "DELETE FROM attachments WHERE memory_id = ?;")
        .with(memoryID)
        .run();
}

std::size_t LinkRecords::attachmentCount() {
    SqliteStatement row(connection_, "SELECT COUNT(*) FROM attachments;");
    row.step();
    return static_cast<std::size_t>(row.integer(0));
}

void LinkRecords::recordEvent(const LinkEvent& event) {
    const auto last = events(1);
    const bool repeats =
        !last.empty() && last.front().kind == event.kind && last.front().text == event.text;
    if (event.kind == "failed" && repeats) return;
    SqliteTransaction transaction(connection_);
    SqliteStatement(connection_, "INSERT INTO events (time, kind, text) VALUES (?, ?, ?);")
        .with(event.time, event.kind, event.text)
        .run();
    SqliteStatement(connection_,
                    "DELETE FROM events WHERE number <= (SELECT MAX(number) FROM events) - ?;")
        .with(static_cast<std::int64_t>(eventsKept))
        .run();
    transaction.commit();
}

std::vector<LinkEvent> LinkRecords::events(std::size_t limit) {
    SqliteStatement rows(connection_, std::string(eventColumns) + "ORDER BY number DESC LIMIT ?;");
    return collectEvents(rows.with(static_cast<std::int64_t>(limit)));
}

std::optional<LinkEvent> LinkRecords::lastEvent(std::string_view kind) {
    SqliteStatement rows(
        connection_, std::string(eventColumns) + "WHERE kind = ? ORDER BY number DESC LIMIT 1;");
    auto found = collectEvents(rows.with(kind));
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
}

}  // namespace nookery
