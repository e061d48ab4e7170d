#include "collection/safety/LibraryVerifier.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

#include "collection/database/Sidecar.h"
#include "collection/originals/FileDigest.h"
#include "collection/originals/ManagedOriginal.h"
#include "collection/safety/SnapshotCheck.h"
#include "collection/safety/SnapshotDigests.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

constexpr auto restoreHint =
    "Bring back a sound state with \"nookery snapshot list\" and \"nookery snapshot restore\", or "
    "from an archive.";

/// A database of the library, and what it says of originals.
struct KnownDatabase {
    Path path;
    std::string_view purpose;
    std::string_view advice = restoreHint;
    bool isOptional = false;
    std::string_view ownersQuery{};  ///< name and original of each row; none when it has no such
    std::string_view ownerKind{};
};

std::vector<KnownDatabase> databasesOf(const LibraryLayout& layout) {
    return {{.path = layout.database(),
             .purpose = "It holds all memories.",
             .ownersQuery = "SELECT title, file_path FROM crumbs;",
             .ownerKind = "memory"},
            {.path = layout.sidecar(), .purpose = "It holds the first digests of the originals."},
            {.path = layout.receiptsDatabase(),
             .purpose = "It holds all receipts.",
             .isOptional = true,
             .ownersQuery = "SELECT coalesce(merchant, id), original_file_path FROM receipts;",
             .ownerKind = "receipt"},
            {.path = layout.linkRecords(),
             .purpose = "It holds what was published to the phone.",
             .advice = "Nothing is lost: the next \"nookery link publish\" begins it anew.",
             .isOptional = true}};
}

/// A row that has an original.
struct Owner {
    std::string_view kind;
    std::string name;
    Path original;

    std::string description() const { return fmt::format("{} \"{}\"", kind, name); }
};

class LibraryVerifier {
  public:
    LibraryVerifier(const Platform& platform, const LibraryLayout& layout, VerifyDepth depth,
                    OperationControl control)
        : platform_(platform),
          files_(platform.files),
          layout_(layout),
          depth_(depth),
          control_(std::move(control)) {}

    VerifyReport run() {
        if (!files_.statusFollowingLinks(layout_.library())) {
            throw FileError("find", layout_.library(), ENOENT);
        }
        // Before the rows are read: what is committed meanwhile is then known, and what is deleted
        // meanwhile is seen to be gone.
        listOriginals();
        checkDatabases();
        readFacts();
        checkOwners();
        checkOriginals();
        checkForUnlisted();
        checkSnapshots();
        return std::move(report_);
    }

  private:
    void checkDatabases() {
        const auto databases = databasesOf(layout_);
        std::size_t done = 0;
        for (const KnownDatabase& database : databases) {
            report({"checking databases", ++done, databases.size()});
            checkDatabase(database);
        }
    }

    void checkDatabase(const KnownDatabase& database) {
        if (!files_.statusFollowingLinks(database.path)) {
            if (database.isOptional) return;
            return add("missing-database", database.path,
                       fmt::format("It is not there. {} {}", database.purpose, database.advice));
        }
        const std::string complaint = complaintAbout(database.path);
        if (complaint != "ok") {
            add("damaged-database", database.path,
                fmt::format("It is damaged: {}. {}", firstOf(complaint), database.advice));
        }
        if (!database.ownersQuery.empty()) readOwners(database);
    }

    std::string complaintAbout(const Path& path) const {
        std::string complaint;
        for (int attempt = 0; attempt < 2; ++attempt) {
            const SqliteAccess access = accessTo(path);
            try {
                complaint = SqliteConnection::open(path, access).integrityReport();
            } catch (const DatabaseError& error) {
                complaint = error.message();
            }
            // A program that began to write meanwhile makes an untouched look meaningless.
            if (complaint == "ok" || access == accessTo(path)) return complaint;
        }
        return complaint;
    }

    /// A file without a log beside it has no writer, and is looked at without a trace.
    SqliteAccess accessTo(const Path& database) const {
        return files_.statusFollowingLinks(database.native() + "-wal") ? SqliteAccess::readOnly
                                                                       : SqliteAccess::immutable;
    }

    /// SQLite may complain of every page; a few lines tell as much.
    static std::string firstOf(const std::string& complaint) {
        constexpr std::size_t enough = 300;
        return complaint.size() <= enough ? complaint : complaint.substr(0, enough) + "…";
    }

    void listOriginals() {
        for (const Path& folder : {layout_.items(), layout_.receiptOriginals()}) {
            if (!files_.statusFollowingLinks(folder)) continue;
            try {
                walkTree(files_, folder, [&](const Path& relative, FileType) {
                    const bool isOnItsWay = relative.begin()->native().starts_with(temporaryPrefix);
                    if (!isOnItsWay) originals_.insert(belowLibrary(folder / relative));
                });
            } catch (const FileError& error) {
                add("unreadable-original", error.path(), error.description());
            }
        }
        report_.originalFileCount = originals_.size();
    }

    Path belowLibrary(const Path& path) const {
        const Path plain = managedOriginal(layout_, path).value_or(path.lexically_normal());
        return plain.lexically_relative(layout_.library());
    }

    /// Also of rows that the program itself passes over: their originals are not nobody's.
    void readOwners(const KnownDatabase& database) try {
        auto connection = SqliteConnection::open(database.path, accessTo(database.path));
        SqliteStatement rows(connection, database.ownersQuery);
        const bool areMemories = database.path == layout_.database();
        while (rows.step()) {
            ++(areMemories ? report_.memoryCount : report_.receiptCount);
            const auto original = rows.optionalString(1);
            if (original) owners_.push_back({database.ownerKind, rows.string(0), *original});
        }
        memoriesAreWhole_ |= areMemories;
    } catch (const DatabaseError& error) {
        recordUnreadable(database.path, error);
    }

    void readFacts() try {
        if (!files_.statusFollowingLinks(layout_.sidecar())) return;
        Sidecar sidecar = Sidecar::openForReading(layout_.sidecar(), accessTo(layout_.sidecar()));
        for (OriginalFact& fact : sidecar.originals()) {
            const Path path = fact.relativePath;
            facts_.emplace(path, std::move(fact));
        }
        for (const Path& pending : sidecar.pendingOriginals()) owned_.insert(pending);
    } catch (const DatabaseError& error) {
        recordUnreadable(layout_.sidecar(), error);
    }

    /// Once is enough for a database that was found damaged before.
    void recordUnreadable(const Path& database, const DatabaseError& error) {
        const bool isKnown =
            std::any_of(report_.problems.begin(), report_.problems.end(),
                        [&](const VerifyProblem& problem) { return problem.path == database; });
        if (isKnown) return;
        add("damaged-database", database,
            fmt::format("It cannot be read: {} {}", error.description(), restoreHint));
    }

    void checkOwners() {
        for (const Owner& owner : owners_) {
            const Path relative = belowLibrary(owner.original);
            const bool isManaged = isManagedPath(owner.original);
            if (isManaged) owned_.insert(relative);
            if (isThere(owner.original)) continue;
            if (isManaged) {
                addMissing(owner.original, owner);
            } else {
                add("missing-linked-original", owner.original,
                    fmt::format("The {} links to this file, which is not there. Put it back, "
                                "connect its drive, or delete the {}.",
                                owner.description(), owner.kind));
            }
        }
    }

    bool isManagedPath(const Path& path) const {
        const std::string receipts = layout_.receiptOriginals().native() + "/";
        return managedOriginal(layout_, path) ||
               path.lexically_normal().native().starts_with(receipts);
    }

    bool isThere(const Path& path) const try {
        return files_.statusFollowingLinks(path).has_value();
    } catch (const FileError&) {
        return false;
    }

    void addMissing(const Path& path, const Owner& owner) {
        if (!missing_.insert(path).second) return;
        add("missing-original", path,
            fmt::format("The {} has lost its original. Copy it back from a recovery snapshot or "
                        "an archive, or delete the {}.",
                        owner.description(), owner.kind));
    }

    /// What is known since an original came in: also files inside a folder that is one original.
    void checkOriginals() {
        std::size_t done = 0;
        for (const auto& [relative, fact] : facts_) {
            report({"checking originals", ++done, facts_.size()});
            // Without one, its memory was removed.
            if (const Owner* owner = ownerOf(relative)) {
                checkOriginal(layout_.library() / relative, fact, *owner);
            }
        }
        for (const Path& original : originals_) {
            report_.undigestedCount += facts_.contains(original) ? 0 : 1;
        }
    }

    void checkOriginal(const Path& path, const OriginalFact& fact, const Owner& owner) {
        try {
            const auto status = files_.status(path);
            if (!status) return addMissing(path, owner);
            const bool isChanged = status->byteCount != fact.byteCount ||
                                   (depth_ == VerifyDepth::full &&
                                    digestOfFile(files_, platform_.digester, path) != fact.digest);
            if (!isChanged) return;
            add("changed-original", path,
                fmt::format("The original of the {} is not what was taken in: its content was "
                            "changed or is damaged. Copy a sound one back from a recovery "
                            "snapshot or an archive.",
                            owner.description()));
        } catch (const FileError& error) {
            add("unreadable-original", path, error.description());
        }
    }

    /// The row whose original this is, or lies in; null when there is none.
    const Owner* ownerOf(const Path& relative) {
        if (ownerByPath_.empty()) {
            for (const Owner& owner : owners_) {
                ownerByPath_.emplace((layout_.library() / belowLibrary(owner.original)).native(),
                                     &owner);
            }
        }
        for (Path path = relative; path.has_parent_path(); path = path.parent_path()) {
            const auto found = ownerByPath_.find((layout_.library() / path).native());
            if (found != ownerByPath_.end()) return found->second;
        }
        return nullptr;
    }

    /// Only memories that could all be read can say that a file is nobody's. The copies of removed
    /// receipts are kept on purpose.
    void checkForUnlisted() {
        if (!memoriesAreWhole_) return;
        for (const Path& original : originals_) {
            const Path path = layout_.library() / original;
            if (!managedOriginal(layout_, path) || isOwned(original) || !files_.status(path)) {
                continue;
            }
            add("unlisted-file", path,
                "No memory knows this file. Add it with \"nookery add\" or move it away.");
        }
    }

    bool isOwned(const Path& relative) const {
        for (Path path = relative; path.has_parent_path(); path = path.parent_path()) {
            if (owned_.contains(path)) return true;
        }
        return false;
    }

    void checkSnapshots() {
        SnapshotDigests digests(files_, platform_.digester);
        const SnapshotRepository shelf(files_, layout_.snapshots());
        const auto names = shelf.names();
        for (const std::string& name : names) {
            report({"checking snapshots", ++report_.snapshotCount, names.size()});
            const Path folder = layout_.snapshots() / name;
            try {
                checkSnapshot(files_, platform_.propertyLists, folder);
                if (depth_ == VerifyDepth::full) digests.check(folder, control_.stopToken());
            } catch (const Cancelled&) {
                throw;
            } catch (const Error& error) {
                if (!files_.status(folder)) continue;  // it was pruned meanwhile
                add("broken-snapshot", folder,
                    error.description() +
                        " It is of no use: delete it, and take a new one with \"nookery snapshot "
                        "take\".");
            }
        }
    }

    void report(OperationProgress progress) {
        control_.throwIfStopped();
        control_.report(std::move(progress));
    }

    void add(std::string what, const Path& path, std::string message) {
        report_.problems.push_back({std::move(what), path, std::move(message)});
    }

    const Platform& platform_;
    FileSystem& files_;
    LibraryLayout layout_;
    VerifyDepth depth_;
    OperationControl control_;
    VerifyReport report_;
    std::set<Path> originals_;  ///< files of memories and receipts, below the library
    std::vector<Owner> owners_;
    bool memoriesAreWhole_ = false;
    std::map<Path, OriginalFact> facts_;
    std::set<Path> owned_;  ///< originals of rows, below the library, and names on their way
    std::set<Path> missing_;
    std::unordered_map<std::string, const Owner*> ownerByPath_;
};

}  // namespace

OperationPointer<VerifyReport> verifyLibrary(const Platform& platform, const LibraryLayout& layout,
                                             VerifyDepth depth) {
    return startOperation(platform.captureQueue, platform.mainQueue,
                          [platform, layout, depth](const OperationControl& control) {
                              return LibraryVerifier(platform, layout, depth, control).run();
                          });
}

}  // namespace nookery
