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
struct CameraFacts {
    Orientation orientation = Orientation::upright;
    std::string camera;
    std::optional<CalendarFields> taken;
    std::optional<GeoPosition> position;
};

// Hostile bytes give few facts or none, never an error, and nothing is printed about them. Any
// thread.

/// Reads an EXIF block by libexif. The block begins with its byte order, "II" or "MM". Only its
/// first 64 kB count, which is the most that a JPEG file can hold.
CameraFacts cameraFactsInExif(std::string_view block);

/// Reads the fields of a TIFF file's first picture, wherever they lie in it, by libtiff.
CameraFacts cameraFactsInTiff(std::string_view file);

}  // namespace nookery
