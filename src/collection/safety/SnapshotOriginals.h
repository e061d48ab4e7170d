#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <vector>

#include "collection/database/Sidecar.h"
#include "collection/safety/SnapshotBuilder.h"
#include "foundation/FileSystem.h"
#include "platform/Platform.h"

namespace nookery {

/// Brings the managed originals into a snapshot that is being built. One that is unchanged since
/// the base snapshot (size and modification time) is hard-linked from the copy there, never from
/// the live file, so that nothing that happens to the live file reaches a snapshot; others are
/// cloned where the file system can, else copied.
///
/// Before copies are shared further, some of them are read and held against their digest: each
/// snapshot goes on where the last one stopped, until all were read and it begins anew. A copy that
/// does not match is replaced by a fresh one, and the log says so.
class SnapshotOriginals {
  public:
    /// How much is read to check shared copies, for each snapshot.
    static constexpr std::int64_t verifiedByteCount = 64 << 20;

    struct Source {
        Path library;              ///< the live library folder
        std::optional<Path> base;  ///< the newest snapshot's folder
        Sidecar* facts;            ///< null when the library has none
        Path rotationMark;         ///< file that remembers where checking stopped
    };

    SnapshotOriginals(const Platform& platform, Source source, Path building);

    /// Brings in the folders, which have the same places in the library and in each snapshot, and
    /// makes all durable. Returns the number of files. A folder that is not there is empty, unless
    /// the base snapshot has files in it: then it is an error.
    std::int64_t bringIn(std::span<const std::string_view> folders,
                         const OperationControl& control);

  private:
    struct Original {
        Path relative;  ///< below the library, and below a snapshot
        FileStatus live;
        bool shareable = false;  ///< the base has the same
    };
    using Originals = std::vector<Original>;

    void survey(const Path& folder, Originals& originals) const;
    bool baseHasFilesIn(const Path& folder) const;
    bool unchangedSinceBase(const Original& original) const;
    void checkSome(Originals& originals);
    bool baseCopyIsSound(const Original& original) const;
    Sha256Digest expectedDigest(const Original& original) const;
    void bringIn(const Original& original);
    bool linkFromBase(const Original& original) const;
    bool copyFromLive(const Original& original);
    void makeFolder(const Path& relative);
    void syncFolders() const;

    const Platform& platform_;
    FileSystem& files_;
    Source source_;
    Path building_;
    std::set<Path> folders_;  ///< made so far, below the building folder
    std::int64_t count_ = 0;
    bool canClone_ = true;
};

}  // namespace nookery
