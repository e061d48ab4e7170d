#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "archive/ArchiveProgress.h"
#include "foundation/FileSystem.h"
#include "platform/ContentDigest.h"

namespace nookery {

/// Size and digest of a file's bytes as they were read.
struct FileContent {
    std::int64_t byteCount = 0;
    Sha256Digest digest;

    bool operator==(const FileContent&) const = default;
};

/// Reads and copies files, digesting what passes, and tells a follower how far it is. Used by one
/// thread. Throws FileError, or Cancelled when the follower says so.
class DigestedFiles {
  public:
    DigestedFiles(FileSystem& files, const ContentDigester& digester, ArchiveFollower follower);

    /// Begins the count of a phase.
    void begin(ArchiveProgress::Phase phase, std::int64_t fileCount, std::int64_t byteCount);

    FileContent read(const Path& path);

    /// Copies into a new file, which is not synced: the caller syncs the file system when all are
    /// copied. The copy keeps the time of modification. Throws Error for a file that changes while
    /// it is copied. On failure the part of the copy that exists stays.
    FileContent copy(const Path& from, const Path& to);

  private:
    using Sink = std::function<void(std::span<const std::byte>)>;
    FileContent pump(ReadableFile& file, const Sink& sink);
    void tell();

    FileSystem& files_;
    const ContentDigester& digester_;
    ArchiveFollower follower_;
    ArchiveProgress progress_;
    std::vector<std::byte> buffer_;
};

}  // namespace nookery
