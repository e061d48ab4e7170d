#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "collection/database/StepRecords.h"
#include "foundation/SqliteConnection.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"
#include "platform/ContentDigest.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// What is known of a managed original since it was taken in. `verify` and the snapshots hold the
/// file against it.
struct OriginalFact {
    Path relativePath;  ///< below the library folder: "Items/name"
    Uuid memoryID;      ///< the memory that it was taken in for
    Sha256Digest digest;
    std::int64_t byteCount = 0;
    std::int64_t modifiedNanoseconds = 0;

    bool operator==(const OriginalFact&) const = default;
};

/// What is noted of work that began, until its end is: the failure of an attempt whose end was
/// never noted.
inline constexpr std::string_view workEndedTheProgram = "NOOKERY ended while it worked on this.";

/// Something to be done for a memory in the background. `task` names what ("contents",
/// "embedding").
struct PendingWork {
    Uuid memoryID;
    std::string task;
    int attempts = 0;
    std::optional<std::string> lastFailure;

    bool operator==(const PendingWork&) const = default;
};

/// Facts about the library that the collection database has no place for, in a database of their
/// own beside it ("sidecar.sqlite3"). Throws DatabaseError; methods that take a list are one
/// transaction. One writing connection, on the store's thread; snapshots read through their own.
class Sidecar {
  public:
    /// Creates the file when it is missing, and upgrades an older one. Throws DatabaseError for one
    /// that a newer program wrote, and leaves it alone.
    static Sidecar open(
        FileSystem& files, const LibraryLayout& layout,
        std::chrono::milliseconds busyTimeout = SqliteConnection::defaultBusyTimeout);
    /// Creates a sidecar at `path`, for a library that is being put together elsewhere.
    static Sidecar create(const Path& path);
    /// `path` may lie anywhere; nothing is created.
    static Sidecar openForReading(const Path& path, SqliteAccess access = SqliteAccess::readOnly);

    /// As SQLiteDatabase::makeDurable.
    void makeDurable() { connection_.makeDurable(); }
    std::string integrityReport() { return connection_.integrityReport(); }

    // Originals.
    /// The newest fact about a path replaces an older one.
    void recordOriginals(std::span<const OriginalFact> facts);
    std::vector<OriginalFact> originals();
    /// Memories that were taken in with this content, in the order of their paths.
    std::vector<OriginalFact> originalsWithDigest(const Sha256Digest& digest);
    std::optional<OriginalFact> original(const Path& relativePath);
    /// What is known of a managed original: of the file, or of all files of a folder.
    std::vector<OriginalFact> originalsAt(const Path& relativePath);
    void forgetOriginals(std::span<const Path> relativePaths);

    // Names placed in `Items` before their record is committed. What is still listed at a start was
    // interrupted: the file is removed unless a record has it, and nothing else is touched.
    void addPendingOriginals(std::span<const Path> relativePaths);
    void removePendingOriginals(std::span<const Path> relativePaths);
    std::vector<Path> pendingOriginals();

    // Work that waits.
    /// Adds the task for each memory; one that waits already keeps its attempts.
    void addWork(std::span<const Uuid> memoryIDs, std::string_view task);
    void finishWork(std::span<const Uuid> memoryIDs, std::string_view task);
    /// Adds the task when it does not wait yet, and counts an attempt. Until its end is noted it
    /// counts as one that ended the program.
    void recordWorkBegun(std::span<const Uuid> memoryIDs, std::string_view task);
    /// The attempt that began was given up by no fault of its own, and does not count.
    void takeWorkBack(std::span<const Uuid> memoryIDs, std::string_view task);
    /// What came of the attempt that began.
    void recordWorkFailure(const Uuid& memoryID, std::string_view task, std::string_view failure);
    /// In the order in which it was added.
    std::vector<PendingWork> pendingWork();
    std::vector<PendingWork> pendingWork(std::string_view task);

    /// Forgets the work and the words of removed memories. Their originals are forgotten by path,
    /// once the files are gone: another memory may still use them.
    void forgetMemories(std::span<const Uuid> memoryIDs);
    /// Forgets all originals, work and words: the library was emptied.
    void forgetAllMemories();

    /// What the person's changes were, so that they can be taken back.
    StepRecords steps() { return StepRecords(connection_); }

    // Small state, by key.
    std::optional<std::string> state(std::string_view key);
    void setState(std::string_view key, std::string_view value);
    void removeState(std::string_view key);

  private:
    friend class ProblemTable;
    friend class RecognisedPages;

    static Sidecar openForWriting(const Path& path, std::chrono::milliseconds busyTimeout);
    explicit Sidecar(SqliteConnection connection) : connection_(std::move(connection)) {}

    SqliteConnection connection_;
};

}  // namespace nookery
