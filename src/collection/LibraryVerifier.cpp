#include "collection/LibraryVerifier.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <unordered_map>

#include "collection/FileDigest.h"
#include "collection/MemoryRemoval.h"
#include "collection/Sidecar.h"
#include "collection/SnapshotCheck.h"
#include "collection/SnapshotShelf.h"
#include "foundation/DurableFile.h"
#include "foundation/SqliteStatement.h"

namespace nookery {
namespace {

constexpr auto restoreHint =
    "Bring back a sound state with \"nookery snapshot list\" and \"nookery snapshot restore\", or "
    "from an archive.";

/// A memory's row, as far as originals are concerned.
struct OriginalRow {
    std::string title;
    Path path;
};

class LibraryVerifier {
  public:
    LibraryVerifier(const Platform& platform, const LibraryLayout& layout, VerifyDepth depth,
                    const std::function<void(const VerifyProgress&)>& progress,
                    std::stop_token stop)
        : platform_(platform),
          files_(platform.files),
          layout_(layout),
          depth_(depth),
          progress_(progress),
          stop_(std::move(stop)) {}

    VerifyReport run() {
        if (!files_.statusFollowingLinks(layout_.library())) {
            throw FileError("find", layout_.library(), ENOENT);
        }
        checkDatabases();
        // Before the rows are read: what is committed meanwhile is then known, and what is deleted
        // meanwhile is seen to be gone.
        listItems();
        readRows();
        readFacts();
        checkRows();
        checkOriginals();
        checkForUnlisted();
        checkSnapshots();
        return std::move(report_);
    }

  private:
    void checkDatabases() {
        checkDatabase(layout_.database(), "It holds all memories.");
        checkDatabase(layout_.sidecar(), "It holds the first digests of the originals.");
        if (files_.status(layout_.receiptsDatabase()))
            checkDatabase(layout_.receiptsDatabase(), "");
    }

    void checkDatabase(const Path& path, std::string_view purpose) {
        tell({VerifyProgress::Phase::databases});
        if (!files_.statusFollowingLinks(path)) {
            return add("missing-database", path,
                       fmt::format("It is not there. {} {}", purpose, restoreHint));
        }
        const std::string complaint = complaintAbout(path);
        if (complaint == "ok") return;
        add("damaged-database", path,
            fmt::format("It is damaged: {}. {}", firstOf(complaint), restoreHint));
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

    void listItems() {
        if (!files_.statusFollowingLinks(layout_.items())) return;
        try {
            walkTree(files_, layout_.items(), [&](const Path& relative, FileType) {
                const bool isOnItsWay = relative.begin()->native().starts_with(temporaryPrefix);
                if (!isOnItsWay) items_.insert(Path("Items") / relative);
            });
        } catch (const FileError& error) {
            add("unreadable-original", error.path(), error.description());
        }
        report_.originalFileCount = items_.size();
    }

    /// Also rows that the program itself passes over: their originals are not nobody's.
    void readRows() try {
        auto connection = SqliteConnection::open(layout_.database(), accessTo(layout_.database()));
        SqliteStatement rows(connection, "SELECT title, file_path FROM crumbs;");
        while (rows.step()) {
            ++report_.memoryCount;
            if (const auto path = rows.optionalString(1)) rows_.push_back({rows.string(0), *path});
        }
        rowsAreWhole_ = true;
    } catch (const DatabaseError& error) {
        noteUnreadable(layout_.database(), error);
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
        noteUnreadable(layout_.sidecar(), error);
    }

    /// Once is enough for a database that was found damaged before.
    void noteUnreadable(const Path& database, const DatabaseError& error) {
        const bool isKnown =
            std::any_of(report_.problems.begin(), report_.problems.end(),
                        [&](const VerifyProblem& problem) { return problem.path == database; });
        if (isKnown) return;
        add("damaged-database", database,
            fmt::format("It cannot be read: {} {}", error.description(), restoreHint));
    }

    void checkRows() {
        for (const OriginalRow& row : rows_) {
            const bool isManaged = isManagedOriginal(layout_, row.path);
            if (isManaged)
                owned_.insert(row.path.lexically_normal().lexically_relative(layout_.library()));
            if (isThere(row.path)) continue;
            if (isManaged) {
                addMissing(row.path, row.title);
            } else {
                add("missing-linked-original", row.path,
                    fmt::format("The memory \"{}\" links to this file, which is not there. Put it "
                                "back, connect its drive, or delete the memory.",
                                row.title));
            }
        }
    }

    bool isThere(const Path& path) const try {
        return files_.statusFollowingLinks(path).has_value();
    } catch (const FileError&) {
        return false;
    }

    void addMissing(const Path& path, const std::string& title) {
        if (!missing_.insert(path).second) return;
        add("missing-original", path,
            fmt::format("The memory \"{}\" has lost its original. Copy it back from a recovery "
                        "snapshot or an archive, or delete the memory.",
                        title));
    }

    /// What is known since an original came in: also files inside a folder that is one original.
    void checkOriginals() {
        std::size_t done = 0;
        for (const auto& [relative, fact] : facts_) {
            tell({VerifyProgress::Phase::originals, ++done, facts_.size()});
            const auto owner = ownerOf(relative);
            if (!owner) continue;  // its memory was removed
            checkOriginal(layout_.library() / relative, fact, *owner);
        }
        for (const Path& item : items_) report_.undigestedCount += facts_.contains(item) ? 0 : 1;
    }

    void checkOriginal(const Path& path, const OriginalFact& fact, const std::string& title) {
        try {
            const auto status = files_.status(path);
            if (!status) return missing_.contains(path) ? void() : addMissing(path, title);
            const bool isChanged = status->byteCount != fact.byteCount ||
                                   (depth_ == VerifyDepth::full &&
                                    digestOfFile(files_, platform_.digester, path) != fact.digest);
            if (!isChanged) return;
            add("changed-original", path,
                fmt::format("The original of \"{}\" is not what was taken in: its content was "
                            "changed or is damaged. Copy a sound one back from a recovery "
                            "snapshot or an archive.",
                            title));
        } catch (const FileError& error) {
            add("unreadable-original", path, error.description());
        }
    }

    /// The title of the memory whose original this is, or lies in; none when there is none.
    std::optional<std::string> ownerOf(const Path& relative) {
        if (titles_.empty()) {
            for (const OriginalRow& row : rows_) {
                titles_.emplace(row.path.lexically_normal().native(), row.title);
            }
        }
        for (Path path = relative; path.has_parent_path(); path = path.parent_path()) {
            const auto found = titles_.find((layout_.library() / path).native());
            if (found != titles_.end()) return found->second;
        }
        return std::nullopt;
    }

    /// Only rows that could all be read can say that a file is nobody's.
    void checkForUnlisted() {
        if (!rowsAreWhole_) return;
        for (const Path& item : items_) {
            if (isOwned(item) || !files_.status(layout_.library() / item)) continue;
            add("unlisted-file", layout_.library() / item,
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
        const SnapshotShelf shelf(files_, layout_.snapshots());
        const auto names = shelf.names();
        for (const std::string& name : names) {
            tell({VerifyProgress::Phase::snapshots, ++report_.snapshotCount, names.size()});
            const Path folder = layout_.snapshots() / name;
            try {
                checkSnapshot(files_, platform_.propertyLists, folder);
                if (depth_ == VerifyDepth::full) checkSnapshotOriginals(folder);
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

    void checkSnapshotOriginals(const Path& folder) {
        if (!files_.status(folder / snapshot::sidecarName)) return;
        Sidecar sidecar =
            Sidecar::openForReading(folder / snapshot::sidecarName, SqliteAccess::immutable);
        for (const OriginalFact& fact : sidecar.originals()) {
            if (stop_.stop_requested()) throw Cancelled();
            const Path copy = folder / fact.relativePath;
            const auto status = files_.status(copy);
            // The manifest's count has told already whether something is missing.
            if (!status || digestOnce(copy, *status) == fact.digest) continue;
            throw Error(fmt::format("Its copy of {} is damaged.", displayName(fact.relativePath)));
        }
    }

    /// Snapshots share unchanged copies; each is read once.
    Sha256Digest digestOnce(const Path& path, const FileStatus& status) {
        const auto key = std::pair(status.device, status.inode);
        const auto known = digests_.find(key);
        if (known != digests_.end()) return known->second;
        return digests_.emplace(key, digestOfFile(files_, platform_.digester, path)).first->second;
    }

    void tell(const VerifyProgress& progress) {
        if (stop_.stop_requested()) throw Cancelled();
        if (progress_) progress_(progress);
    }

    void add(std::string what, const Path& path, std::string message) {
        report_.problems.push_back({std::move(what), path, std::move(message)});
    }

    const Platform& platform_;
    FileSystem& files_;
    LibraryLayout layout_;
    VerifyDepth depth_;
    const std::function<void(const VerifyProgress&)>& progress_;
    std::stop_token stop_;
    VerifyReport report_;
    std::set<Path> items_;  ///< files in `Items`, below the library
    std::vector<OriginalRow> rows_;
    bool rowsAreWhole_ = false;
    std::map<Path, OriginalFact> facts_;
    std::set<Path> owned_;  ///< originals of rows, below the library, and names on their way
    std::set<Path> missing_;
    std::unordered_map<std::string, std::string> titles_;
    std::map<std::pair<std::uint64_t, std::uint64_t>, Sha256Digest> digests_;
};

}  // namespace

VerifyReport verifyLibrary(const Platform& platform, const LibraryLayout& layout, VerifyDepth depth,
                           const std::function<void(const VerifyProgress&)>& progress,
                           std::stop_token stop) {
    return LibraryVerifier(platform, layout, depth, progress, std::move(stop)).run();
}

}  // namespace nookery
