#pragma once

#include <memory>

#include "platform/ImageReader.h"

namespace nookery {

/// Qt's image plugins, libpng and libheif. `files` outlives it.
std::unique_ptr<ImageReader> makeImageReader(FileSystem& files);

}  // namespace nookery
