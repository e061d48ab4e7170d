#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/ImageReader.h"
#include "platform/MediaReader.h"

namespace nookery {

/// Facts about an original as people read and type them, one a line; no line for what is not
/// known. Any thread.

/// What the line about a place begins with.
inline constexpr std::string_view placeFactLabel = "Place ";

/// "4032 x 3024 pixels", "Camera Canon EOS 80D", "Taken 2024-07-03 14:05, 3 July 2024",
/// "Place 48.85837 N 2.29448 E".
std::string factLines(const ImageFacts& facts);

/// "Duration 1:02:03", "Video h264, 1920 x 1080 pixels", "Sound aac", "Recorded …", "Place …".
std::string factLines(const MediaFacts& facts);

/// "1 page", "12 pages".
std::string pageFactLine(int pageCount);

std::string joinedLines(const std::vector<std::string>& lines);

}  // namespace nookery
