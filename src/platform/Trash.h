#pragma once

#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

/// The desktop's trash. Any thread, one at a time.
class Trash {
  public:
    virtual ~Trash() = default;
    /// Moves a file or folder to the trash and says where it now is. On failure throws Error and
    /// the file stays where it was.
    virtual Path moveToTrash(const Path& path) = 0;
    /// Where in the trash there are files or folders that were at `original`, the latest first.
    /// What cannot be looked at is left out. Throws FileError when the trash cannot be listed.
    virtual std::vector<Path> placesOf(const Path& original) = 0;
    /// Moves what `moveToTrash` left at `place` to `destination`, where nothing may be. Throws
    /// FileError, and it stays in the trash; EEXIST when something is there. The caller syncs the
    /// folders.
    virtual void putBack(const Path& place, const Path& destination) = 0;
};

}  // namespace nookery
