#include "backends/images/ImageFiles.h"
#include "backends/images/QtPictures.h"
#include "backends/reader/ReaderLimits.h"
#include "platform/PictureEncoder.h"
#include "reader/Service.h"

namespace nookery {
namespace {

void writeFacts(FieldWriter& fields, const ImageFacts& facts) {
    fields.integer(facts.width).integer(facts.height).text(facts.camera);
    fields.integer(facts.taken ? 1 : 0);
    if (const auto& taken = facts.taken) {
        for (const int field : {taken->year, taken->month, taken->day, taken->hour, taken->minute,
                                taken->second, taken->millisecond}) {
            fields.integer(field);
        }
    }
    fields.integer(facts.position ? 1 : 0);
    if (facts.position) fields.real(facts.position->latitude).real(facts.position->longitude);
}

class PictureService final : public Service {
  public:
    void answer(const ServiceRequest& request, ServiceAnswer& answer) override {
        if (request.question == ReaderQuestion::jpeg) return answerJpeg(request, answer);
        FieldReader& fields = request.fields;
        const Path path(std::string(fields.bytes(fields.restByteCount())));
        const ContentType type{fields.text(fields.restByteCount())};
        ImageLimits limits;
        readLimits(fields, limits);
        if (request.question == ReaderQuestion::pictureFacts) {
            return writeFacts(answer.fields, images_->facts(path, type, limits));
        }
        demandWellFormed(request.question == ReaderQuestion::picture);
        const int longestSide = static_cast<int>(fields.integer());
        Picture picture = images_->read(path, type, longestSide, limits, {});
        writeSize(answer.fields, picture);
        answer.pixels = std::move(picture.pixels);
    }

  private:
    void answerJpeg(const ServiceRequest& request, ServiceAnswer& answer) const {
        constexpr int longestSide = 1 << 24;
        const Picture picture = takePicture(request.fields, request.pixels, longestSide);
        answer.fields.text(encoder_->jpeg(picture));
    }

    std::unique_ptr<FileSystem> files_ = makePosixFileSystem();
    std::unique_ptr<ImageReader> images_ = makeImageReader(*files_);
    std::unique_ptr<PictureEncoder> encoder_ = makePictureEncoder();
};

}  // namespace

std::unique_ptr<Service> makePictureService() { return std::make_unique<PictureService>(); }

}  // namespace nookery
