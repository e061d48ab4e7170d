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

/// Puts pieces of text together to printed rows, from top to bottom; the pieces of a row, as a
/// label and its amount, become one line, from left to right. The boxes are as though the paper
/// had lain flat.
std::vector<OCRLine> inRows(std::vector<TextPiece> pieces);

}  // namespace nookery
