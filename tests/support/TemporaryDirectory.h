#pragma once

#include "foundation/FileSystem.h"

namespace nookery::testing {

/// What a folder's files lie on. In memory a test may sync thousands of times in no time; where the
/// system has no room there, it is the disk all the same.
enum class Place { disk, memory };

/// A folder of its own for one test, removed with all it holds.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(Place place = Place::disk);
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
