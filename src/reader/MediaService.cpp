#include "backends/media/AvMediaReader.h"
#include "reader/Service.h"

namespace nookery {
namespace {

void writeFacts(FieldWriter& fields, const MediaFacts& facts) {
    fields.integer(facts.durationSeconds ? 1 : 0);
    if (facts.durationSeconds) fields.real(*facts.durationSeconds);
    fields.text(facts.videoCodec).text(facts.audioCodec);
    fields.integer(facts.width).integer(facts.height);
    fields.text(facts.recorded).text(facts.place);
    fields.integer(static_cast<std::int64_t>(facts.descriptions.size()));
    for (const std::string& description : facts.descriptions) fields.text(description);
}

class MediaService final : public Service {
  public:
    void answer(const ServiceRequest& request, ServiceAnswer& answer) override {
        FieldReader& fields = request.fields;
        const Path path(std::string(fields.bytes(fields.restByteCount())));
        if (request.question == ReaderQuestion::mediaFacts) {
            return writeFacts(answer.fields, media_->facts(path, {}));
        }
        demandWellFormed(request.question == ReaderQuestion::mediaCover);
        Picture cover = media_->cover(path, static_cast<int>(fields.integer()), {});
        writeSize(answer.fields, cover);
        answer.pixels = std::move(cover.pixels);
    }

  private:
    std::unique_ptr<MediaReader> media_ = makeMediaReader();
};

}  // namespace

std::unique_ptr<Service> makeMediaService() { return std::make_unique<MediaService>(); }

}  // namespace nookery
