#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "collection/capture/Capture.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// A regular file to be copied.
struct FoundFile {
    Path path;  ///< no link in its last component when it was found
    Path name;  ///< as the person knows it
};
/// Where something lies, and what reports call it.
struct FoundPlace {
    Path path;
    Path shown;
};
/// A message about the place that names it as reports do.
std::string namingShown(std::string message, const FoundPlace& place);

/// Something that is not taken, and why.
struct LeftOut {
    std::string message;
    bool isFailure = false;  ///< false: left out on purpose
};
struct FoundSource {
    std::string source;  ///< how a report calls it
    std::variant<FoundFile, CaptureLink, CaptureText, LeftOut> content;
    bool isNamed = false;  ///< the request names it, rather than a folder above it
};

/// Walks a request's sources one at a time, folders depth first with names in byte order, holding
/// no more than the listings of the folders on the way down. A folder that cannot be listed is
/// one LeftOut, and the walk goes on. Used by one thread.
class CaptureWalk {
  public:
    /// The library and its `Items` are left out wherever they are met: they are not material.
    CaptureWalk(FileSystem& files, LibraryLayout layout, std::vector<CaptureSource> sources);

    /// None at the end. What cannot be looked at is given as LeftOut.
    std::optional<FoundSource> next();
    /// Sources given out, and those already seen but not yet given out.
    std::size_t foundCount() const { return givenOut_ + waiting_; }

  private:
    /// A folder being walked; its entries are taken from the back.
    struct Level {
        FoundPlace folder;
        std::vector<DirectoryEntry> entries;
    };

    std::optional<FoundSource> advance();
    std::optional<FoundSource> begin(CaptureSource source);
    std::optional<FoundSource> beginNamed(const CaptureFile& file);
    std::optional<FoundSource> visit(const FoundPlace& folder, const DirectoryEntry& entry);
    std::optional<FoundSource> enter(const FoundPlace& folder, bool named);
    bool isLibrary(const Path& folder) const;

    FileSystem& files_;
    LibraryLayout layout_;
    std::vector<CaptureSource> sources_;  ///< the next one at the back
    std::vector<Level> levels_;
    std::size_t givenOut_ = 0;
    std::size_t waiting_ = 0;
};

}  // namespace nookery
