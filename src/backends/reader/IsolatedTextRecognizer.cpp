#include "backends/reader/Isolated.h"
#include "backends/reader/LanguageData.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

OCRLine takeLine(FieldReader& answer) {
    constexpr std::size_t longestLine = 100'000;
    OCRLine line;
    line.text = answer.text(longestLine);
    demandWellFormed(!line.text.empty() && trimmed(line.text).size() == line.text.size());
    for (double* field : {&line.box.x, &line.box.y, &line.box.width, &line.box.height}) {
        // Boxes that were straightened may lie a little outside.
        *field = answer.real(-1, 2);
    }
    line.confidence = answer.real(0, 1);
    return line;
}

class IsolatedTextRecognizer final : public TextRecognizer {
  public:
    explicit IsolatedTextRecognizer(ReaderPool& pool) : pool_(pool) {}

    std::vector<OCRLine> recognise(const Picture& picture, std::stop_token stop) const override {
        FieldWriter fields;
        writeSize(fields, picture);
        const ReaderRequest request{.question = ReaderQuestion::recognisedText,
                                    .fields = fields.take(),
                                    .pixels = picture.pixels,
                                    .stop = std::move(stop)};
        return answered<RecognitionError>(pool_, ReaderSubject::recognition, request,
                                          "The text in the picture",
                                          [](FieldReader& answer, const auto&) {
                                              std::vector<OCRLine> lines;
                                              while (!answer.isAtEnd()) {
                                                  lines.push_back(takeLine(answer));
                                              }
                                              return lines;
                                          });
    }

  private:
    ReaderPool& pool_;
};

}  // namespace

std::unique_ptr<TextRecognizer> makeIsolatedTextRecognizer(ReaderPool& pool, FileSystem& files) {
    if (!findLanguageData(files)) return nullptr;
    return std::make_unique<IsolatedTextRecognizer>(pool);
}

}  // namespace nookery
