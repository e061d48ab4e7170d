#pragma once

#include <vector>

#include "platform/TextRecognizer.h"

namespace nookery {

/// Top to bottom; lines that stand beside each other, as amounts beside their labels, from left to
/// right.
std::vector<OCRLine> inReadingOrder(std::vector<OCRLine> lines);

}  // namespace nookery
