#include "backends/reader/Isolated.h"
#include "backends/reader/ReadableTypes.h"

namespace nookery {
namespace {

MediaFacts takeFacts(FieldReader& answer) {
    constexpr std::size_t longestText = 20'000;
    constexpr double longestDuration = 1e12;
    constexpr int longestSide = 1 << 24;
    constexpr int mostDescriptions = 100;
    MediaFacts facts;
    if (answer.integer(0, 1) == 1) facts.durationSeconds = answer.real(0, longestDuration);
    facts.videoCodec = answer.text(longestText);
    facts.audioCodec = answer.text(longestText);
    facts.width = static_cast<int>(answer.integer(0, longestSide));
    facts.height = static_cast<int>(answer.integer(0, longestSide));
    facts.recorded = answer.text(longestText);
    facts.place = answer.text(longestText);
    const auto count = answer.integer(0, mostDescriptions);
    for (int i = 0; i < count; ++i) facts.descriptions.push_back(answer.text(longestText));
    return facts;
}

class IsolatedMedia final : public MediaReader {
  public:
    explicit IsolatedMedia(ReaderPool& pool) : pool_(pool) {}

    bool canRead(const ContentType& type) const override { return isReadableMedia(type); }

    MediaFacts facts(const Path& path, std::stop_token stop) const override {
        FieldWriter fields;
        fields.text(path.native());
        const ReaderRequest request{.question = ReaderQuestion::mediaFacts,
                                    .path = path,
                                    .fields = fields.take(),
                                    .stop = std::move(stop)};
        return answered<MediaError>(
            pool_, ReaderSubject::media, request, quotedName(path),
            [](FieldReader& answer, const auto&) { return takeFacts(answer); });
    }

    Picture cover(const Path& path, int longestSide, std::stop_token stop) const override {
        FieldWriter fields;
        fields.text(path.native()).integer(longestSide);
        const ReaderRequest request{.question = ReaderQuestion::mediaCover,
                                    .path = path,
                                    .fields = fields.take(),
                                    .answer = {.pixelByteCount = mostPixelBytes(longestSide)},
                                    .stop = std::move(stop)};
        return answered<MediaError>(pool_, ReaderSubject::media, request, quotedName(path),
                                    [longestSide](FieldReader& answer, auto& pixels) {
                                        return takePicture(answer, pixels, longestSide);
                                    });
    }

  private:
    ReaderPool& pool_;
};

}  // namespace

std::unique_ptr<MediaReader> makeIsolatedMedia(ReaderPool& pool) {
    return std::make_unique<IsolatedMedia>(pool);
}

}  // namespace nookery
