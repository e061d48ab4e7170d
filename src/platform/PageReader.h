#pragma once

#include <stop_token>
#include <vector>

#include "foundation/FileSystem.h"
#include "platform/DocumentReader.h"
#include "platform/Picture.h"

namespace nookery {

/// Shows the pages of PDF documents as pictures. Any thread.
class PageReader {
  public:
    virtual ~PageReader() = default;

    /// Throws DocumentError or FileError.
    virtual int pageCount(const Path& path, const DocumentLimits& limits) const = 0;

    /// The pages, counted from 0, that hold no text as characters: scans and pictures. Throws as
    /// `render` does.
    virtual std::vector<int> pagesWithoutText(const Path& path, const DocumentLimits& limits,
                                              std::stop_token stop) const = 0;

    /// The page (counted from 0) over white, its longer side `longestSide` pixels. Throws
    /// DocumentError, also when there is no such page, FileError, or Cancelled when stop was
    /// requested.
    virtual Picture render(const Path& path, int page, int longestSide,
                           const DocumentLimits& limits, std::stop_token stop) const = 0;
};

}  // namespace nookery
