#include "backends/recognition/TesseractTextRecognizer.h"
#include "reader/Service.h"

namespace nookery {
namespace {

std::unique_ptr<TextRecognizer> demandedRecognizer(FileSystem& files) {
    auto recognizer = makeTextRecognizer(files);
    if (!recognizer) throw RecognitionError("The data for recognising text is not installed.");
    return recognizer;
}

void writeBox(FieldWriter& fields, const NormalizedBox& box) {
    fields.real(box.x).real(box.y).real(box.width).real(box.height);
}

void writeLine(FieldWriter& fields, const OCRLine& line) {
    fields.text(line.text);
    writeBox(fields, line.box);
    fields.real(line.confidence).integer(static_cast<std::int64_t>(line.words.size()));
    for (const OCRWord& word : line.words) {
        fields.text(word.text);
        writeBox(fields, word.box);
    }
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
            writeLine(answer.fields, line);
        }
    }

  private:
    std::unique_ptr<FileSystem> files_ = makePosixFileSystem();
    std::unique_ptr<TextRecognizer> recognizer_;
};

}  // namespace

std::unique_ptr<Service> makeRecognitionService() { return std::make_unique<RecognitionService>(); }

}  // namespace nookery
