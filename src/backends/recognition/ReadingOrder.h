#pragma once

#include <vector>

#include "platform/TextRecognizer.h"

namespace nookery {

/// Text that was found in one piece, with the slope of its own baseline.
struct TextPiece {
    OCRLine line;
    double rise = 0;  ///< how far the baseline would rise over the picture's whole width
    bool holdsNumber = false;
};

/// Joins pieces of text to printed rows, from top to bottom. The pieces of a row, such as a label
/// and its amount, become one line, from left to right. The boxes are straightened, as if the paper
/// had lain flat.
std::vector<OCRLine> inRows(std::vector<TextPiece> pieces);

}  // namespace nookery
