#pragma once

#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "foundation/FileSystem.h"
#include "platform/ContentDigest.h"
#include "platform/ContentType.h"
#include "platform/Platform.h"

namespace nookery {

/// A copy of a source file that lies in the library, at first under a temporary name.
struct OriginalCopy {
    Path place;                          ///< where the copy lies now
    std::unique_ptr<WritableFile> file;  ///< open and not yet synced; none once it is
    Sha256Digest digest;                 ///< of the bytes that were read from the source
    FileStatus source;                   ///< of the file that was read
    FileStatus marks;                    ///< size and modification time of the copy
    ContentType type;
};

/// Copies originals into one folder. Used by one thread.
class OriginalCopier {
  public:
    OriginalCopier(const Platform& platform, Path folder, std::stop_token stop);

    /// Copies and digests in one pass and tells the type from the first bytes and `name`. The copy
    /// has the source's modification time and is not yet synced, so that a batch of small files
    /// can be synced together. A source that changes meanwhile is copied once more, then refused.
    /// On failure throws FileError, Error or Cancelled and leaves no copy.
    OriginalCopy copy(const Path& source, const Path& name);

    /// Reads the copy back and throws Error unless it holds exactly what was read from the source.
    void verify(const OriginalCopy& copy);

  private:
    std::optional<OriginalCopy> copyUnlessChanging(ReadableFile& source, const Path& name);
    std::int64_t pump(ReadableFile& source, Sha256Stream& digest, OriginalCopy& copy,
                      const Path& name);

    const Platform& platform_;
    Path folder_;
    std::stop_token stop_;
    std::vector<std::byte> buffer_;
};

/// Makes the content of open copies survive a power cut. Throws FileError; then none is to be
/// trusted. `copies` are in the order in which they were made.
void syncTogether(std::span<OriginalCopy* const> copies);

/// Removes a file of ours; false when that fails, which the caller's own failure outranks.
bool removeQuietly(FileSystem& files, const Path& path);

}  // namespace nookery
