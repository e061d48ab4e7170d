#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <string>

#include "foundation/Error.h"
#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"
#include "platform/ContentType.h"
#include "platform/Picture.h"

namespace nookery {

/// A picture that cannot be read: damaged, or larger than the limits allow. The description says
/// which.
class ImageError : public Error {
  public:
    using Error::Error;
};

/// Bounds for pictures that may be hostile. A picture beyond one is refused with ImageError before
/// memory is taken for it.
struct ImageLimits {
    std::size_t maximumFileByteCount = std::size_t{512} << 20;
    std::size_t maximumPixelCount = std::size_t{1} << 30;  ///< as the file's head claims
    /// Of the pixels that the format must unpack at once, whatever size is asked for.
    std::size_t maximumDecodedByteCount = std::size_t{512} << 20;
};

/// Where a picture was taken, in degrees (WGS 84), north and east positive.
struct GeoPosition {
    double latitude = 0;
    double longitude = 0;
};

/// What a picture's file says about itself. A fact that is missing or impossible is none.
struct ImageFacts {
    int width = 0;  ///< of the upright picture
    int height = 0;
    std::string camera;  ///< maker and model; empty when not told
    /// By the camera's own clock, which knows no time zone.
    std::optional<CalendarFields> taken;
    std::optional<GeoPosition> position;
};

/// Decodes the pictures that the program opens: JPEG, PNG, WebP, TIFF, GIF, BMP, ICO, TGA, PNM,
/// HEIC and AVIF. Any thread; several at once.
class ImageReader {
  public:
    virtual ~ImageReader() = default;

    /// Whether `read` knows this type.
    virtual bool canRead(const ContentType& type) const = 0;

    /// The first picture in the file, upright as its orientation mark says, transparent parts over
    /// white. When its longer side is longer than `longestSide`, it is scaled down to that while
    /// reading; never scaled up. Throws ImageError, FileError, or Cancelled when stop was
    /// requested.
    virtual Picture read(const Path& path, const ContentType& type, int longestSide,
                         const ImageLimits& limits, std::stop_token stop) const = 0;

    /// Decodes nothing. Throws as `read` does.
    virtual ImageFacts facts(const Path& path, const ContentType& type,
                             const ImageLimits& limits) const = 0;
};

}  // namespace nookery
