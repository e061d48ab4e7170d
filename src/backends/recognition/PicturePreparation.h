#pragma once

#include <leptonica/allheaders.h>

#include <memory>

#include "platform/Picture.h"

namespace nookery {

struct PixRelease {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using OwnedPix = std::unique_ptr<Pix, PixRelease>;

/// Prepares the picture for reading its text: grey, its background evened out to white, its lines
/// level. None when the picture is too small to hold text.
OwnedPix preparedForReading(const Picture& picture);

}  // namespace nookery
