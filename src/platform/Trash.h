#pragma once

#include "foundation/FileSystem.h"

namespace nookery {

/// The desktop's trash. Main thread.
class Trash {
  public:
    virtual ~Trash() = default;
    /// Moves a file or folder to the trash and says where it now is. On failure throws Error and
    /// the file stays where it was.
    virtual Path moveToTrash(const Path& path) = 0;
};

}  // namespace nookery
