#pragma once

#include <QImage>

#include "platform/Picture.h"

namespace nookery {

/// The image's pixels, transparent parts over white.
Picture pictureFrom(const QImage& image);

}  // namespace nookery
