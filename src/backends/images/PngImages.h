#pragma once

#include <QImage>
#include <string>
#include <string_view>

namespace nookery {

// PNG, through libpng itself: Qt's plugin lets it print on standard error about damaged files.
// Messages call the file `name`. Both functions throw ImageError.

/// As the file's head claims.
QSize pngSize(std::string_view file, const std::string& name);

/// At full size. The caller has checked the size.
QImage decodePng(std::string_view file, const std::string& name);

}  // namespace nookery
