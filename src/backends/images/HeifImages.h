#pragma once

#include <QImage>
#include <stop_token>
#include <string>
#include <string_view>

#include "platform/ImageReader.h"

namespace nookery {

/// HEIC and AVIF, through libheif.
struct HeifHead {
    int width = 0;  ///< upright
    int height = 0;
    std::string exif;  ///< the EXIF block; empty when there is none
};

/// Messages call the file `name`. Both functions throw ImageError.
HeifHead heifHead(std::string_view file, const std::string& name);

/// Upright and at full size, RGBA. The caller has checked the size in the head. Throws Cancelled
/// when stop was requested.
QImage decodeHeif(std::string_view file, const std::string& name, const std::stop_token& stop);

}  // namespace nookery
