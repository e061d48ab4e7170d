#pragma once

#include <QImage>
#include <string>
#include <string_view>

namespace nookery {

// PNG, through libpng itself: Qt's plugin lets it complain of damaged files on standard error.
// `name` is how messages call the file. Both throw ImageError.

/// As the file's head claims.
QSize pngSize(std::string_view file, const std::string& name);

/// At full size. The caller has looked at the size.
QImage decodePng(std::string_view file, const std::string& name);

}  // namespace nookery
