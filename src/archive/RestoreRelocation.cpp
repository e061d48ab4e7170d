#include "archive/RestoreRelocation.h"

#include <fmt/format.h>

#include <set>
#include <unordered_map>
#include <unordered_set>

#include "archive/ArchiveCheck.h"
#include "archive/ArchivePlaces.h"
#include "collection/database/Sidecar.h"
#include "collection/originals/FileDigest.h"
#include "collection/originals/ManagedOriginal.h"
#include "collection/originals/OriginalNames.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/SqliteConnection.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

bool liesBelow(const Path& path, const Path& folder) {
    return path.native().starts_with(folder.native() + "/");
}

Path partBelow(const std::string& name, std::string_view folder) {
    return name.substr(folder.size() + 1);
}

/// The listed files, under their names without detours, and the folders that they lie in.
class ListedFiles {
  public:
    explicit ListedFiles(const ArchiveContents& contents) {
        for (const auto& file : contents.files) {
            const auto name = withoutDetours(file.relativePath);
            if (!name || !file.digest) continue;
            byName_.emplace(*name, FileContent{file.byteCount, *file.digest});
            for (Path folder = Path(*name).parent_path(); !folder.empty();
                 folder = folder.parent_path()) {
                if (!folders_.insert(folder.native()).second) break;
            }
        }
    }

    bool holds(const std::string& name) const {
        return byName_.contains(name) || folders_.contains(name);
    }
    const FileContent* find(const std::string& name) const {
        const auto found = byName_.find(name);
        return found == byName_.end() ? nullptr : &found->second;
    }

    /// What lies directly in the folder.
    std::set<std::string> namesIn(std::string_view folder) const {
        std::set<std::string> names;
        for (const auto& [name, content] : byName_) {
            if (liesBelow(name, folder)) names.insert(partBelow(name, folder).begin()->native());
        }
        return names;
    }

  private:
    std::unordered_map<std::string, FileContent> byName_;
    std::set<std::string> folders_;
};

/// Changes one text column of a table, row by row, in one transaction. `change` answers none for a
/// value that stays.
template <typename Change>
void rewriteColumn(const Path& database, const std::string& table, const std::string& column,
                   const Change& change) {
    auto connection = SqliteConnection::open(database, SqliteAccess::readWriteCreate);
    // The file alone is moved into place, so it must be whole without companions.
    connection.leaveWriteAheadLog();
    std::vector<std::pair<std::string, std::string>> changes;
    {
        SqliteStatement rows(connection, "SELECT id, " + column + " FROM " + table + " WHERE " +
                                             column + " IS NOT NULL;");
        while (rows.step()) {
            auto changed = change(rows.uuid(0), rows.string(1));
            if (changed) changes.emplace_back(rows.string(0), std::move(*changed));
        }
    }
    SqliteTransaction transaction(connection);
    SqliteStatement update(connection, "UPDATE " + table + " SET " + column + " = ? WHERE id = ?;");
    for (const auto& [id, value] : changes) update.with(value, id).run();
    transaction.commit();
}

/// What a path that is taken out of a record begins with among the record's words.
constexpr std::string_view withdrawnLabel = "Original named in the archive: ";

/// A table whose rows name originals, and a column of words that such a row has.
struct NamingTable {
    const char* name;
    const char* pathColumn;
    const char* wordsColumn;
};
constexpr NamingTable memoriesTable{"crumbs", "file_path", "searchable_text"};
constexpr NamingTable receiptsTable{"receipts", "original_file_path", "note"};

/// Takes the paths out of their rows for which `mayStay` is false, and leaves them among the words.
template <typename MayStay>
void withdrawPaths(const Path& database, const NamingTable& table, const MayStay& mayStay) {
    auto connection = SqliteConnection::open(database, SqliteAccess::readWriteCreate);
    connection.leaveWriteAheadLog();
    std::vector<std::pair<std::string, std::string>> withdrawn;
    {
        SqliteStatement rows(connection,
                             fmt::format("SELECT id, {0} FROM {1} WHERE {0} IS NOT NULL;",
                                         table.pathColumn, table.name));
        while (rows.step()) {
            const std::string stored = rows.string(1);
            if (mayStay(rows.uuid(0), stored)) continue;
            withdrawn.emplace_back(rows.string(0),
                                   fmt::format("\n{}{}\n", withdrawnLabel, displayName(stored)));
        }
    }
    SqliteTransaction transaction(connection);
    SqliteStatement update(
        connection,
        fmt::format("UPDATE {0} SET {1} = NULL, {2} = COALESCE({2}, '') || ? WHERE id = ?;",
                    table.name, table.pathColumn, table.wordsColumn));
    for (const auto& [id, words] : withdrawn) update.with(words, id).run();
    transaction.commit();
}

std::int64_t countWithdrawn(const Path& database, const NamingTable& table) {
    auto connection = SqliteConnection::open(database, SqliteAccess::readOnly);
    SqliteStatement count(connection,
                          fmt::format("SELECT count(*) FROM {} WHERE {} IS NULL AND instr({}, ?);",
                                      table.name, table.pathColumn, table.wordsColumn));
    count.with(withdrawnLabel).step();
    return count.integer(0);
}

class Relocation {
  public:
    Relocation(const Platform& platform, const LibraryLayout& layout, const Path& pending,
               const ArchiveContents& contents)
        : platform_(platform),
          files_(platform.files),
          layout_(layout),
          pending_(pending),
          contents_(contents),
          listed_(contents) {
        reserveNames();
    }

    void run() {
        rewriteColumn(pending_ / archive::databaseName, "crumbs", "file_path",
                      [this](const std::optional<Uuid>& id, const std::string& stored) {
                          return id ? placeOf(*id, stored) : std::nullopt;
                      });
        withdrawPaths(pending_ / archive::databaseName, memoriesTable,
                      [this](const std::optional<Uuid>& id, const Path& path) {
                          return managedOriginal(layout_, path) || (id && linked_.contains(*id));
                      });
        files_.syncDirectory(pending_ / archive::originalsName);
        if (files_.status(pending_ / archive::receiptsDatabaseName)) {
            rewriteColumn(pending_ / archive::receiptsDatabaseName, "receipts",
                          "original_file_path",
                          [this](const std::optional<Uuid>& id, const std::string& stored) {
                              return receiptPlaceOf(id, stored);
                          });
            withdrawPaths(pending_ / archive::receiptsDatabaseName, receiptsTable,
                          [this](const std::optional<Uuid>&, const Path& path) {
                              return path.lexically_normal().parent_path() ==
                                     layout_.receiptOriginals();
                          });
        }
        makeSidecar();
    }

  private:
    /// Every linked original has a name in `Items` waiting for it, the same at every attempt.
    void reserveNames() {
        // From the manifest, not from the folder: an earlier attempt may have brought some in.
        std::set<std::string> taken = listed_.namesIn(archive::originalsName);
        std::set<std::string> linked;
        for (const auto& [id, exported] : contents_.exportedOriginals) {
            const auto name = withoutDetours(exported);
            if (name && liesBelow(*name, archive::externalOriginalsName) && listed_.holds(*name)) {
                linked.insert(*name);
            }
        }
        for (const std::string& name : linked) {
            const Path free = freeName(Path(name).filename(), [&taken](const Path& candidate) {
                return taken.contains(candidate.native());
            });
            taken.insert(free.native());
            reserved_.emplace(name, free);
        }
    }

    /// Where the memory's original will lie; none when its stored path stays as it is.
    std::optional<std::string> placeOf(const Uuid& id, const std::string& stored) {
        const auto exported = contents_.exportedOriginals.find(id);
        if (exported == contents_.exportedOriginals.end()) return std::nullopt;
        const auto name = withoutDetours(exported->second);
        if (!name || !listed_.holds(*name)) return std::nullopt;
        if (liesBelow(*name, archive::originalsName)) {
            const Path below = partBelow(*name, archive::originalsName);
            note(id, below, *name);
            return (layout_.items() / below).native();
        }
        const auto reserved = reserved_.find(*name);
        if (reserved == reserved_.end()) return std::nullopt;
        if (!broughtIn(*name, reserved->second, stored)) {
            linked_.insert(id);
            return std::nullopt;
        }
        note(id, reserved->second, *name);
        return (layout_.items() / reserved->second).native();
    }

    /// Whether the linked original has come into `Items`, which it does unless it is still there.
    bool broughtIn(const std::string& name, const Path& itemsName, const std::string& stored) {
        const Path target = pending_ / archive::originalsName / itemsName;
        if (files_.status(target)) return true;
        if (isStillLinked(name, stored)) return false;
        files_.renameExclusive(pending_ / name, target);
        files_.syncDirectory((pending_ / name).parent_path());
        return true;
    }

    bool isStillLinked(const std::string& name, const Path& stored) const {
        const FileContent* content = listed_.find(name);
        if (content == nullptr || !stored.is_absolute()) return false;
        try {
            const auto status = files_.status(stored);
            return status && status->type == FileType::regular &&
                   status->byteCount == content->byteCount && !liesInLibrary(stored) &&
                   digestOfFile(files_, platform_.digester, stored) == content->digest;
        } catch (const FileError&) {
            return false;  // what cannot be read is as good as gone; the archive has a copy
        }
    }

    /// What lies in the library as it is now is about to be moved away.
    bool liesInLibrary(const Path& path) const {
        const auto resolved = files_.resolve(path);
        const auto library = files_.resolve(layout_.library());
        return resolved && library && liesBelow(*resolved, *library);
    }

    void note(const Uuid& id, const Path& itemsName, const std::string& listedName) {
        if (const FileContent* content = listed_.find(listedName)) {
            noted_.push_back({id, Path(archive::originalsName) / itemsName,
                              Path(snapshot::itemsName) / itemsName, *content});
        }
    }

    std::optional<std::string> receiptPlaceOf(const std::optional<Uuid>& id,
                                              const std::string& stored) {
        const Path name = Path(stored).filename();
        const std::string listed = std::string(archive::receiptOriginalsName) + "/" + name.native();
        const FileContent* content = name.empty() ? nullptr : listed_.find(listed);
        if (content == nullptr) return std::nullopt;
        if (id) {
            noted_.push_back({*id, listed, Path(snapshot::receiptOriginalsName) / name, *content});
        }
        return (layout_.receiptOriginals() / name).native();
    }

    void makeSidecar() {
        const Path place = pending_ / snapshot::sidecarName;
        for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
            removeTree(files_, place.native() + suffix);
        }
        std::vector<OriginalFact> facts;
        for (const Noted& noted : noted_) {
            const auto status = files_.status(pending_ / noted.pendingName);
            if (!status) continue;
            facts.push_back({.relativePath = noted.liveName,
                             .memoryID = noted.id,
                             .digest = noted.content.digest,
                             .byteCount = noted.content.byteCount,
                             .modifiedNanoseconds = status->modifiedNanoseconds});
        }
        files_.createFile(place)->close();  // as private as every other file
        Sidecar::create(place).recordOriginals(facts);
        files_.syncDirectory(pending_);
    }

    struct Noted {
        Uuid id;
        Path pendingName;  ///< below the pending folder
        Path liveName;     ///< below the library folder
        FileContent content;
    };

    const Platform& platform_;
    FileSystem& files_;
    LibraryLayout layout_;
    Path pending_;
    const ArchiveContents& contents_;
    ListedFiles listed_;
    std::unordered_map<std::string, Path> reserved_;
    std::vector<Noted> noted_;
    std::unordered_set<Uuid> linked_;  ///< memories whose originals stay where they are
};

}  // namespace

void relocateOriginals(const Platform& platform, const LibraryLayout& layout, const Path& pending,
                       const ArchiveContents& contents) {
    Relocation(platform, layout, pending, contents).run();
}

std::int64_t withdrawnPathCount(FileSystem& files, const LibraryLayout& layout) {
    std::int64_t count = countWithdrawn(layout.database(), memoriesTable);
    if (files.status(layout.receiptsDatabase())) {
        count += countWithdrawn(layout.receiptsDatabase(), receiptsTable);
    }
    return count;
}

}  // namespace nookery
