#pragma once

#include <vector>

#include "backends/recognition/ReadingOrder.h"

namespace nookery {

/// Numbers that were found in two pieces, because the point between them was taken for a speck, as
/// the boxes that hold them whole; their pieces leave `pieces`. `aspect` is the picture's width
/// over its height.
std::vector<NormalizedBox> takeBrokenNumbers(std::vector<TextPiece>& pieces, double aspect);

}  // namespace nookery
