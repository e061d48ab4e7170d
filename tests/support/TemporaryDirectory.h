#pragma once

#include "foundation/FileSystem.h"

namespace nookery::testing {

/// A folder of its own for one test, removed with all it holds.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const Path& path() const { return path_; }
    Path operator/(const Path& relative) const { return path_ / relative; }

    /// Writes a file below the folder, creating the folders on the way, and returns its path.
    Path write(const Path& relative, std::string_view content) const;
    std::string read(const Path& relative) const;
    /// The relative paths of all files below `folder`, sorted.
    std::vector<std::string> filesBelow(const Path& folder = {}) const;

  private:
    Path path_;
};

}  // namespace nookery::testing
