#pragma once

#include <memory>

#include "platform/MediaReader.h"

namespace nookery {

/// Sounds and films through libavformat, libavcodec and libswscale.
std::unique_ptr<MediaReader> makeMediaReader();

}  // namespace nookery
