#pragma once

#include <QImage>
#include <memory>

#include "platform/Picture.h"
#include "platform/PictureEncoder.h"

namespace nookery {

/// The image's pixels, transparent parts over white.
Picture pictureFrom(const QImage& image);

/// Qt's JPEG writer.
std::unique_ptr<PictureEncoder> makePictureEncoder();

}  // namespace nookery
