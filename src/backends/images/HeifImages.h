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
    std::string exif;  ///< the camera's facts; empty when there are none
};

/// `name` is how messages call the file. Both throw ImageError.
HeifHead heifHead(std::string_view file, const std::string& name);

/// Upright and at full size, RGBA. The caller has looked at the head. Throws Cancelled when stop
/// was requested.
QImage decodeHeif(std::string_view file, const std::string& name, const std::stop_token& stop);

}  // namespace nookery
