#include "backends/recognition/TesseractTextRecognizer.h"
#include "reader/Service.h"

namespace nookery {
namespace {

std::unique_ptr<TextRecognizer> demandedRecognizer(FileSystem& files) {
    auto recognizer = makeTextRecognizer(files);
    if (!recognizer) throw RecognitionError("The data for recognising text is not installed.");
    return recognizer;
}

/// Keeps the language data in memory between requests.
class RecognitionService final : public Service {
  public:
    void answer(const ServiceRequest& request, ServiceAnswer& answer) override {
        constexpr int longestSide = 1 << 24;
        demandWellFormed(request.question == ReaderQuestion::recognisedText);
        const Picture picture = takePicture(request.fields, request.pixels, longestSide);
        if (!recognizer_) recognizer_ = demandedRecognizer(*files_);
        for (const OCRLine& line : recognizer_->recognise(picture, {})) {
            answer.fields.text(line.text).real(line.box.x).real(line.box.y);
            answer.fields.real(line.box.width).real(line.box.height).real(line.confidence);
        }
    }

  private:
    std::unique_ptr<FileSystem> files_ = makePosixFileSystem();
    std::unique_ptr<TextRecognizer> recognizer_;
};

}  // namespace

std::unique_ptr<Service> makeRecognitionService() { return std::make_unique<RecognitionService>(); }

}  // namespace nookery
