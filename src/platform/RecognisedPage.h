#pragma once

#include <vector>

#include "platform/TextRecognizer.h"

namespace nookery {

/// The words seen on one page, or in one picture, where they stand: for a view to mark them.
struct RecognisedPage {
    int page = 0;                             ///< counted from 0; of a picture always 0
    std::vector<std::vector<OCRWord>> lines;  ///< in reading order

    bool operator==(const RecognisedPage&) const = default;
};

}  // namespace nookery
