#pragma once

#include <memory>

#include "backends/media/MediaFile.h"
#include "platform/Picture.h"

namespace nookery {

/// By how many quarter turns clockwise a film's pictures are to be shown turned, 0 to 3.
int quarterTurns(const AVStream& stream);

/// One picture of a stream, upright, its longer side at most `longestSide`: the cover itself, or
/// of a film one from its first tenth. Empty when there is none that can be decoded.
Picture pictureOf(const MediaFile& file, const AVStream& stream, int longestSide);

}  // namespace nookery
