#pragma once

#include <string>

#include "foundation/Error.h"
#include "platform/Picture.h"

namespace nookery {

/// Writes pictures in a compact form. Any thread.
class PictureEncoder {
  public:
    virtual ~PictureEncoder() = default;
    /// A JPEG file's bytes, good enough to look at. Throws Error when the picture cannot be
    /// written.
    virtual std::string jpeg(const Picture& picture) const = 0;
};

}  // namespace nookery
