#pragma once

#include <leptonica/allheaders.h>

#include <memory>

#include "platform/Picture.h"

namespace nookery {

struct PixRelease {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};
using OwnedPix = std::unique_ptr<Pix, PixRelease>;

/// The picture as text is best read from: grey, its background evened out to white, its lines
/// level. None when there is nothing to read.
OwnedPix preparedForReading(const Picture& picture);

}  // namespace nookery
