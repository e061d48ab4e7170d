#include "backends/reader/Isolated.h"
#include "backends/reader/ReadableTypes.h"
#include "backends/reader/ReaderLimits.h"

namespace nookery {
namespace {

constexpr std::int64_t longestSideOfAny = std::int64_t{1} << 30;

FieldWriter aboutFile(const Path& path, const ContentType& type, const ImageLimits& limits) {
    FieldWriter fields;
    fields.text(path.native()).text(type.mediaType);
    writeLimits(fields, limits);
    return fields;
}

std::optional<CalendarFields> takeMoment(FieldReader& answer) {
    if (answer.integer(0, 1) == 0) return std::nullopt;
    CalendarFields moment;
    for (int* field : {&moment.year, &moment.month, &moment.day, &moment.hour, &moment.minute,
                       &moment.second, &moment.millisecond}) {
        *field = static_cast<int>(answer.integer(0, 9999));
    }
    demandWellFormed(dateFromUtc(moment).has_value());
    return moment;
}

std::optional<GeoPosition> takePosition(FieldReader& answer) {
    if (answer.integer(0, 1) == 0) return std::nullopt;
    GeoPosition position;
    position.latitude = answer.real(-90, 90);
    position.longitude = answer.real(-180, 180);
    return position;
}

ImageFacts takeFacts(FieldReader& answer) {
    constexpr std::size_t longestCamera = 10'000;
    ImageFacts facts;
    facts.width = static_cast<int>(answer.integer(0, longestSideOfAny));
    facts.height = static_cast<int>(answer.integer(0, longestSideOfAny));
    facts.camera = answer.text(longestCamera);
    facts.taken = takeMoment(answer);
    facts.position = takePosition(answer);
    return facts;
}

class IsolatedImages final : public ImageReader {
  public:
    explicit IsolatedImages(ReaderPool& pool) : pool_(pool) {}

    bool canRead(const ContentType& type) const override { return isReadableImage(type); }

    Picture read(const Path& path, const ContentType& type, int longestSide,
                 const ImageLimits& limits, std::stop_token stop) const override {
        FieldWriter fields = aboutFile(path, type, limits);
        fields.integer(longestSide);
        const ReaderRequest request{.question = ReaderQuestion::picture,
                                    .path = path,
                                    .fields = fields.take(),
                                    .answer = {.pixelByteCount = mostPixelBytes(longestSide)},
                                    .stop = std::move(stop)};
        return answered<ImageError>(pool_, ReaderSubject::pictures, request, quotedName(path),
                                    [longestSide](FieldReader& answer, auto& pixels) {
                                        Picture picture = takePicture(answer, pixels, longestSide);
                                        demandWellFormed(!picture.isEmpty());
                                        return picture;
                                    });
    }

    ImageFacts facts(const Path& path, const ContentType& type,
                     const ImageLimits& limits) const override {
        const ReaderRequest request{.question = ReaderQuestion::pictureFacts,
                                    .path = path,
                                    .fields = aboutFile(path, type, limits).take()};
        return answered<ImageError>(
            pool_, ReaderSubject::pictures, request, quotedName(path),
            [](FieldReader& answer, const auto&) { return takeFacts(answer); });
    }

  private:
    ReaderPool& pool_;
};

class IsolatedPictureEncoder final : public PictureEncoder {
  public:
    explicit IsolatedPictureEncoder(ReaderPool& pool) : pool_(pool) {}

    std::string jpeg(const Picture& picture) const override {
        // A compressed picture is hardly ever longer than its pixels.
        const std::size_t longest = 2 * picture.pixels.size() + (std::size_t{64} << 10);
        FieldWriter fields;
        writeSize(fields, picture);
        const ReaderRequest request{.question = ReaderQuestion::jpeg,
                                    .fields = fields.take(),
                                    .pixels = picture.pixels,
                                    .answer = {longest + (std::size_t{1} << 10)}};
        return answered<Error>(pool_, ReaderSubject::pictures, request, "The picture",
                               [longest](FieldReader& answer, const auto&) {
                                   return std::string(answer.bytes(longest));
                               });
    }

  private:
    ReaderPool& pool_;
};

}  // namespace

std::unique_ptr<ImageReader> makeIsolatedImages(ReaderPool& pool) {
    return std::make_unique<IsolatedImages>(pool);
}

std::unique_ptr<PictureEncoder> makeIsolatedPictureEncoder(ReaderPool& pool) {
    return std::make_unique<IsolatedPictureEncoder>(pool);
}

}  // namespace nookery
