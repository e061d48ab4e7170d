#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/ImageReader.h"

namespace nookery {

/// How the stored picture must be turned to stand upright: EXIF's numbers, 1 (as it is) to 8.
enum class Orientation {
    upright = 1,
    mirrored = 2,
    upsideDown = 3,
    mirroredUpsideDown = 4,
    mirroredLeft = 5,  ///< mirrored, then a quarter turn to the left
    turnRight = 6,
    mirroredRight = 7,  ///< mirrored, then a quarter turn to the right
    turnLeft = 8
};

inline bool swapsSides(Orientation orientation) { return orientation >= Orientation::mirroredLeft; }

/// What a camera wrote into the file.
struct ExifBlock {
    Orientation orientation = Orientation::upright;
    std::string camera;
    std::optional<CalendarFields> taken;
    std::optional<GeoPosition> position;
};

/// Reads the TIFF structure that holds camera facts. Hostile bytes give few facts or none; never
/// an error, and never more work than the block's length allows.
ExifBlock readExif(std::string_view tiff);

}  // namespace nookery
