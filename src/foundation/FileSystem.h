#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Error.h"

namespace nookery {

/// A path as the kernel sees it: any bytes but NUL. The program uses std::filesystem for this type
/// only, because a test cannot make its operations fail.
using Path = std::filesystem::path;

/// A path or name as text for messages and JSON: bytes that are not UTF-8 become "\xNN".
std::string displayName(const Path& path);

/// A file operation that failed: which one, on what, and why. The description says what to do
/// where that is known (full disk, no permission, read-only).
class FileError : public Error {
  public:
    FileError(std::string_view operation, Path path, int errorNumber);

    const Path& path() const { return path_; }
    int errorNumber() const { return errorNumber_; }
    bool isNotFound() const;
    bool isDiskFull() const;

  private:
    Path path_;
    int errorNumber_;
};

enum class FileType { regular, directory, symbolicLink, other };

struct FileStatus {
    FileType type = FileType::other;
    std::int64_t byteCount = 0;
    std::int64_t modifiedNanoseconds = 0;  ///< since 1970
    /// When the system last saw content, times, name or permissions change: cannot be set back.
    std::int64_t changedNanoseconds = 0;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t linkCount = 0;

    /// Unchanged as far as size and modification time tell.
    bool sameContentMarks(const FileStatus& other) const {
        return byteCount == other.byteCount && modifiedNanoseconds == other.modifiedNanoseconds;
    }
};

struct DirectoryEntry {
    Path name;  ///< last component only
    FileType type = FileType::other;
};

/// An open file being read from the front.
class ReadableFile {
  public:
    virtual ~ReadableFile() = default;
    /// Fills as much of the buffer as there is; 0 means the end. Throws FileError.
    virtual std::size_t read(std::span<std::byte> buffer) = 0;
    /// The open file's own status, even when its path names another file by now.
    virtual FileStatus status() = 0;
};

/// An open new file. Destroying it without `close` abandons it (the bytes may or may not be there).
class WritableFile {
  public:
    virtual ~WritableFile() = default;
    /// Writes all of it or throws FileError.
    virtual void write(std::span<const std::byte> bytes) = 0;
    /// Makes the bytes written so far survive a power cut.
    virtual void sync() = 0;
    /// As `sync`, for everything written so far to the file system that holds this file, by any
    /// program. Several times faster than a `sync` of each of many small files, slower than one of
    /// a single file. Reports every failure since this file was opened.
    virtual void syncFileSystem() = 0;
    /// Closes, and reports the failures that only closing reveals. Call once.
    virtual void close() = 0;
};

/// Every file operation of the program but SQLite's own. All changes go through here, so that a
/// test can make the k-th one fail, run short, fill the disk or end the process. All functions
/// throw FileError, and then change nothing, except where said. A link in the last component is
/// not followed unless the name says so. Any thread.
class FileSystem {
  public:
    virtual ~FileSystem() = default;

    // Looking.
    /// None when nothing is there; every other failure is thrown.
    virtual std::optional<FileStatus> status(const Path& path) = 0;
    /// Follows links, also in the last component. None when the target is not there.
    virtual std::optional<FileStatus> statusFollowingLinks(const Path& path) = 0;
    /// Entries in unspecified order, without "." and "..".
    virtual std::vector<DirectoryEntry> list(const Path& directory) = 0;
    /// Opens a regular file; refuses a symbolic link in the last component, and anything that is
    /// not a regular file, without blocking on it.
    virtual std::unique_ptr<ReadableFile> openForReading(const Path& path) = 0;
    /// The path with every link resolved; none when it does not exist.
    virtual std::optional<Path> resolve(const Path& path) = 0;

    // Changing.
    /// Creates a file that must not exist yet, mode 0600.
    virtual std::unique_ptr<WritableFile> createFile(const Path& path) = 0;
    /// One folder, mode 0700; an existing folder is fine, anything else there is an error.
    virtual void createDirectory(const Path& path) = 0;
    /// Moves within a file system, atomically replacing a file that is there.
    virtual void rename(const Path& from, const Path& to) = 0;
    /// As rename, but fails with EEXIST when something is there.
    virtual void renameExclusive(const Path& from, const Path& to) = 0;
    virtual void hardLink(const Path& existing, const Path& link) = 0;
    /// Creates `to` sharing `from`'s blocks where the file system can; false (and nothing
    /// created) where it cannot.
    [[nodiscard]] virtual bool cloneFile(const Path& from, const Path& to) = 0;
    virtual void removeFile(const Path& path) = 0;
    /// An empty folder only.
    virtual void removeDirectory(const Path& path) = 0;
    virtual void setModified(const Path& path, std::int64_t nanoseconds) = 0;
    /// Makes the folder's entries (creations, renames, removals) survive a power cut.
    virtual void syncDirectory(const Path& path) = 0;
    /// Makes everything written so far to the file system that holds `path` survive a power cut,
    /// contents and folder entries: for thousands of files a small part of what syncing each costs.
    virtual void syncFileSystem(const Path& path) = 0;
};

/// The kernel's file system.
std::unique_ptr<FileSystem> makePosixFileSystem();

// Built from the operations above.

/// Creates the folder and the missing ones above it, and syncs each parent that gained one.
void createDirectories(FileSystem& files, const Path& path);

/// Removes a file, a link or a folder with all it holds; nothing there is fine. On failure some
/// of it may already be gone.
void removeTree(FileSystem& files, const Path& path);

/// The whole file. Throws FileError with EFBIG when it is larger than `maximumByteCount`.
std::string readWholeFile(FileSystem& files, const Path& path, std::size_t maximumByteCount);
/// The front of the file, or all of one that is shorter.
std::string readFileHead(FileSystem& files, const Path& path, std::size_t byteCount);

/// Calls `visit` with each regular file and symbolic link below `directory`, parents before
/// children, names in byte order; `relative` is the path below it. Links are reported, not
/// followed.
void walkTree(FileSystem& files, const Path& directory,
              const std::function<void(const Path& relative, FileType type)>& visit);

}  // namespace nookery
