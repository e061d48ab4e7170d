#include "backends/reader/Isolated.h"
#include "backends/reader/LanguageData.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t longestLine = 100'000;

std::string takeText(FieldReader& answer) {
    std::string text = answer.text(longestLine);
    demandWellFormed(!text.empty() && trimmed(text).size() == text.size());
    return text;
}

NormalizedBox takeBox(FieldReader& answer) {
    NormalizedBox box;
    for (double* field : {&box.x, &box.y, &box.width, &box.height}) {
        // Boxes that were straightened may lie a little outside.
        *field = answer.real(-1, 2);
    }
    return box;
}

OCRLine takeLine(FieldReader& answer) {
    OCRLine line;
    line.text = takeText(answer);
    line.box = takeBox(answer);
    line.confidence = answer.real(0, 1);
    for (auto left = answer.integer(0, longestLine); left > 0; --left) {
        std::string text = takeText(answer);
        line.words.push_back({std::move(text), takeBox(answer)});
    }
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
