#pragma once

#include <string>
#include <string_view>

#include "foundation/FileSystem.h"

namespace nookery {

/// What a file holds, by its bytes first and its name where the bytes leave it open.
struct ContentType {
    std::string mediaType = "application/octet-stream";  ///< lower case, no parameters

    bool isImage() const { return mediaType.starts_with("image/"); }
    bool isText() const { return mediaType.starts_with("text/"); }
};

class ContentTypeDetector {
  public:
    virtual ~ContentTypeDetector() = default;
    static constexpr std::size_t headByteCount = 64 << 10;

    /// `head` is the front of the file (`headByteCount` is plenty), `name` its file name. Never
    /// fails: an unknown file is application/octet-stream. Any thread.
    virtual ContentType detect(std::string_view head, const Path& name) const = 0;
};

}  // namespace nookery
