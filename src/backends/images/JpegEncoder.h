#pragma once

#include <memory>

#include "platform/PictureEncoder.h"

namespace nookery {

/// Qt's JPEG writer.
std::unique_ptr<PictureEncoder> makePictureEncoder();

}  // namespace nookery
