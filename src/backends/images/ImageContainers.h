#pragma once

#include <string_view>

namespace nookery {

/// The EXIF block in a picture file's bytes, without its mark; empty when there is none.
std::string_view exifInJpeg(std::string_view file);
std::string_view exifInPng(std::string_view file);
std::string_view exifInWebp(std::string_view file);

/// Whether a JPEG must be unpacked as a whole, whatever size is asked for.
bool isProgressiveJpeg(std::string_view file);

}  // namespace nookery
