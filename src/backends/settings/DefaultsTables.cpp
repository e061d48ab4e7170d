#include "backends/settings/DefaultsTables.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <unordered_set>

#include "foundation/Json.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

constexpr int formatVersion = 1;

constexpr const char* schema = R"(
    CREATE TABLE setting (
        key TEXT PRIMARY KEY NOT NULL,
        value BLOB
    ) WITHOUT ROWID;
    CREATE TABLE entry (
        key TEXT NOT NULL,
        name TEXT NOT NULL,
        json TEXT NOT NULL,
        PRIMARY KEY (key, name)
    ) WITHOUT ROWID;
)";

/// SQLite's rollback journal leaves one file at rest, which can be read where nothing may be
/// written. Its going is what commits: EXTRA syncs that too. What was removed leaves no bytes.
constexpr const char* durableAndClean = "PRAGMA synchronous=EXTRA; PRAGMA secure_delete=ON;";

/// What one key holds: bytes, or entries.
struct Stored {
    std::optional<std::string> bytes{};
    std::vector<DefaultsEntry> entries{};
};

using Names = std::vector<std::string>;

/// With names, only of the entries that have one.
std::optional<Stored> read(SqliteConnection& connection, std::string_view key,
                           const Names* names = nullptr) {
    std::string condition;
    if (names != nullptr) {
        for (std::size_t i = 0; i < names->size(); ++i) condition += i == 0 ? "?" : ", ?";
        condition = fmt::format(" AND entry.name IN ({})", condition);
    }
    // One statement, so that a change meanwhile is seen whole or not at all.
    SqliteStatement rows(connection,
                         fmt::format("SELECT setting.value, entry.name, entry.json FROM setting "
                                     "LEFT JOIN entry ON entry.key = setting.key{} "
                                     "WHERE setting.key = ? ORDER BY entry.name;",
                                     condition));
    int parameter = 0;
    if (names != nullptr) {
        for (const std::string& name : *names) rows.bind(++parameter, name);
    }
    rows.bind(++parameter, key);
    if (!rows.step()) return std::nullopt;
    Stored stored;
    if (!rows.isNull(0)) {
        const auto blob = rows.blob(0);
        stored.bytes.emplace(reinterpret_cast<const char*>(blob.data()), blob.size());
    } else if (!rows.isNull(1)) {
        do {
            stored.entries.push_back({rows.string(1), rows.string(2)});
        } while (rows.step());
    }
    return stored;
}

std::string composed(const std::vector<DefaultsEntry>& entries) {
    std::string object = "{";
    for (const DefaultsEntry& entry : entries) {
        if (object.size() > 1) object += ',';
        object += toJsonText(Json(entry.name)) + ':' + entry.json;
    }
    return object + '}';
}

void insert(SqliteConnection& connection, std::string_view key, std::string_view value) {
    SqliteStatement(connection, "INSERT OR REPLACE INTO setting (key, value) VALUES (?, ?);")
        .with(key, std::as_bytes(std::span(value)))
        .run();
}

void checkVersion(SqliteConnection& connection, const Path& path) {
    SqliteStatement version(connection, "PRAGMA user_version;");
    version.step();
    if (version.integer(0) == formatVersion) return;
    if (version.integer(0) < formatVersion) {
        throw DatabaseError(DatabaseFailure::openFailed, "it holds no settings", SQLITE_NOTADB);
    }
    throw DefaultsError(
        fmt::format("The settings in {} cannot be read: they were written by a newer program.",
                    displayName(path)));
}

/// Puts entries, and takes those without a text out.
class EntryWriter {
  public:
    EntryWriter(SqliteConnection& connection, std::string_view key)
        : put_(connection, "INSERT OR REPLACE INTO entry (key, name, json) VALUES (?, ?, ?);"),
          remove_(connection, "DELETE FROM entry WHERE key = ? AND name = ?;"),
          key_(key) {}

    void put(const std::string& name, const std::string& json) {
        put_.with(key_, name, json).run();
    }
    void remove(const std::string& name) { remove_.with(key_, name).run(); }

  private:
    SqliteStatement put_;
    SqliteStatement remove_;
    std::string key_;
};

}  // namespace

std::vector<DefaultsEntry> entriesOf(std::string_view key, std::string_view value) {
    Json object;
    try {
        object = parseJson(value);
    } catch (const JsonError&) {
        throw NoEntriesError(key);
    }
    if (!object.is_object()) throw NoEntriesError(key);
    std::vector<DefaultsEntry> entries;
    entries.reserve(object.size());
    for (const auto& [name, entry] : object.items()) entries.push_back({name, toJsonText(entry)});
    return entries;
}

std::vector<DefaultsEntry> named(std::vector<DefaultsEntry> entries, const Names& names) {
    const std::unordered_set<std::string> wanted(names.begin(), names.end());
    std::erase_if(entries, [&](const auto& entry) { return !wanted.contains(entry.name); });
    return entries;
}

void DefaultsTables::create(const Path& path,
                            const std::map<std::string, std::string, std::less<>>& values) {
    auto connection = SqliteConnection::open(path, SqliteAccess::readWriteCreate);
    connection.execute(durableAndClean);
    SqliteTransaction transaction(connection);
    connection.execute(schema);
    for (const auto& [key, value] : values) insert(connection, key, value);
    connection.execute(fmt::format("PRAGMA user_version={};", formatVersion));
    transaction.commit();
}

DefaultsTables DefaultsTables::open(const Path& path) {
    // Also for reading: what a killed program left half-done is undone by whoever comes next.
    auto connection = SqliteConnection::open(path, SqliteAccess::readWriteCreate);
    connection.execute(durableAndClean);
    checkVersion(connection, path);
    return DefaultsTables(std::move(connection));
}

std::optional<std::string> DefaultsTables::get(std::string_view key) {
    const auto stored = read(connection_, key);
    if (!stored) return std::nullopt;
    return stored->bytes ? stored->bytes : composed(stored->entries);
}

void DefaultsTables::set(std::string_view key, std::string_view value) {
    remove(key);
    insert(connection_, key, value);
}

void DefaultsTables::remove(std::string_view key) {
    SqliteStatement(connection_, "DELETE FROM entry WHERE key = ?;").with(key).run();
    SqliteStatement(connection_, "DELETE FROM setting WHERE key = ?;").with(key).run();
}

std::vector<std::string> DefaultsTables::keys() {
    SqliteStatement rows(connection_, "SELECT key FROM setting ORDER BY key;");
    std::vector<std::string> found;
    while (rows.step()) found.push_back(rows.string(0));
    return found;
}

std::vector<DefaultsEntry> DefaultsTables::entries(std::string_view key) {
    auto stored = read(connection_, key);
    if (!stored) return {};
    return stored->bytes ? entriesOf(key, *stored->bytes) : std::move(stored->entries);
}

std::vector<DefaultsEntry> DefaultsTables::entries(std::string_view key, const Names& names) {
    auto stored = read(connection_, key, &names);
    if (!stored) return {};
    return stored->bytes ? named(entriesOf(key, *stored->bytes), names)
                         : std::move(stored->entries);
}

void DefaultsTables::changeEntries(std::string_view key, const EntryChanges& changes) {
    putApart(key);
    EntryWriter writer(connection_, key);
    for (const auto& [name, json] : changes) {
        if (!json) {
            writer.remove(name);
            continue;
        }
        writer.put(name, toJsonText(parseJson(*json)));
    }
}

/// Gives each entry of a value a row, where the value still lies in one piece.
void DefaultsTables::putApart(std::string_view key) {
    SqliteStatement held(connection_, "SELECT value FROM setting WHERE key = ?;");
    held.bind(1, key);
    const bool isThere = held.step();
    if (isThere && held.isNull(0)) return;
    if (isThere) {
        const auto blob = held.blob(0);
        EntryWriter writer(connection_, key);
        for (const DefaultsEntry& entry :
             entriesOf(key, {reinterpret_cast<const char*>(blob.data()), blob.size()})) {
            writer.put(entry.name, entry.json);
        }
    }
    SqliteStatement(connection_, "INSERT OR REPLACE INTO setting (key, value) VALUES (?, NULL);")
        .with(key)
        .run();
}

}  // namespace nookery
