#pragma once

#include <memory>

#include "backends/media/MediaFile.h"
#include "platform/Picture.h"

namespace nookery {

/// By how many quarter turns clockwise a film's pictures are to be shown turned, 0 to 3.
int quarterTurns(const AVStream& stream);

/// One picture of a stream, upright, its longer side at most `longestSide`: a cover itself, or a
/// picture from a film at a tenth of its length. Empty when none can be decoded.
Picture pictureOf(const MediaFile& file, const AVStream& stream, int longestSide);

}  // namespace nookery
