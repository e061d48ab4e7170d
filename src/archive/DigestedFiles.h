#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "archive/ArchiveProgress.h"
#include "foundation/FileSystem.h"
#include "platform/ContentDigest.h"
#include "platform/work/Operation.h"

namespace nookery {

/// Size and digest of a file's bytes as they were read.
struct FileContent {
    std::int64_t byteCount = 0;
    Sha256Digest digest;

    bool operator==(const FileContent&) const = default;
};

/// Reads and copies files and digests what passes; reports to the operation after each file. Used
/// by one thread. Throws FileError, or Cancelled once the operation is to stop.
class DigestedFiles {
  public:
    DigestedFiles(FileSystem& files, const ContentDigester& digester, OperationControl control);

    /// Begins the count of a phase.
    void begin(ArchiveProgress::Phase phase, std::int64_t fileCount);

    FileContent read(const Path& path);

    /// Copies into a new file, which is not synced: the caller syncs the file system when all are
    /// copied. The copy keeps the time of modification. Throws Error for a file that changes while
    /// it is copied. On failure the part of the copy that exists stays.
    FileContent copy(const Path& from, const Path& to);

  private:
    using Sink = std::function<void(std::span<const std::byte>)>;
    FileContent pump(ReadableFile& file, const Sink& sink);
    void report();

    FileSystem& files_;
    const ContentDigester& digester_;
    OperationControl control_;
    ArchiveProgress progress_;
    std::vector<std::byte> buffer_;
};

}  // namespace nookery
