#pragma once

#include "foundation/FileSystem.h"

namespace nookery {

/// The desktop's trash. Any thread, one at a time.
class Trash {
  public:
    virtual ~Trash() = default;
    /// Moves a file or folder to the trash and says where it now is. On failure throws Error and
    /// the file stays where it was.
    virtual Path moveToTrash(const Path& path) = 0;
    /// Moves what `moveToTrash` left at `place` to `destination`, where nothing may be. Throws
    /// FileError, and it stays in the trash; EEXIST when something is there. The caller syncs the
    /// folders.
    virtual void putBack(const Path& place, const Path& destination) = 0;
};

}  // namespace nookery
