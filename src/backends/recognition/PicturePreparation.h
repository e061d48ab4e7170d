#pragma once

#include <leptonica/allheaders.h>

#include <memory>

#include "platform/Picture.h"
#include "platform/TextRecognizer.h"

namespace nookery {

struct PixRelease {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using OwnedPix = std::unique_ptr<Pix, PixRelease>;

/// A picture made ready for reading its text.
struct PreparedPicture {
    OwnedPix pix;         ///< grey, its background evened out to white, its lines level
    double turnedBy = 0;  ///< radians, clockwise, around the middle, to make the lines level
    double aspect = 1;    ///< the picture's width over its height

    /// Where a box of the prepared picture lies in the picture as it was given.
    NormalizedBox inGivenPicture(const NormalizedBox& box) const;
};

/// Nothing in `pix` when the picture is too small to hold text.
PreparedPicture preparedForReading(const Picture& picture);

}  // namespace nookery
