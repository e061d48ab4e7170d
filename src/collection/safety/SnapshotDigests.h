#pragma once

#include <map>
#include <stop_token>
#include <utility>

#include "foundation/FileSystem.h"
#include "platform/ContentDigest.h"

namespace nookery {

/// Holds the originals of snapshots against the digests taken when they came in. Snapshots share
/// unchanged copies; each is read once. One thread.
class SnapshotDigests {
  public:
    SnapshotDigests(FileSystem& files, const ContentDigester& digester)
        : files_(files), digester_(digester) {}

    /// Throws Error for a copy that is damaged, FileError, DatabaseError, Cancelled.
    void check(const Path& folder, const std::stop_token& stop);

  private:
    Sha256Digest digestOnce(const Path& path, const FileStatus& status);

    FileSystem& files_;
    const ContentDigester& digester_;
    std::map<std::pair<std::uint64_t, std::uint64_t>, Sha256Digest> digests_;  ///< by device, inode
};

}  // namespace nookery
