#include <re2/re2.h>

#include "foundation/Text.h"
#include "platform/ContentType.h"
#include "platform/ImageReader.h"
#include "platform/PageReader.h"
#include "platform/Platform.h"
#include "receipts/CrumbReceiptRecognizer.h"

namespace nookery::CrumbReceiptRecognizer {
namespace {

Picture pictureOf(const Platform& platform, const Path& file, const std::stop_token& stop) {
    const std::string name = "\"" + displayName(file.filename()) + "\"";
    const std::string head = readFileHead(platform.files, file, ContentTypeDetector::headByteCount);
    if (head.empty()) throw RecognitionError(name + " is empty.");
    const ContentType type = platform.contentTypes.detect(head, file.filename());
    constexpr int longestSide = TextRecognizer::usefulLongestSide;
    if (type.mediaType == "application/pdf") {
        return platform.pages.render(file, 0, longestSide, DocumentLimits{}, stop);
    }
    if (!platform.images.canRead(type)) {
        throw RecognitionError(name +
                               " cannot be read as a receipt: it is neither an image nor a PDF.");
    }
    return platform.images.read(file, type, longestSide, ImageLimits{}, stop);
}

}  // namespace

std::vector<OCRLine> withDecimalPoints(std::vector<OCRLine> lines) {
    static const RE2 vouchedFor(R"((\$ ?\d[\d,]*)(?: ?[.,] ?| )(\d{2})$)");
    static const RE2 misread(R"((\d[\d,]*)(?:\. |,)(\d{2})$)");
    for (OCRLine& line : lines) {
        if (RE2::Replace(&line.text, vouchedFor, R"(\1.\2)")) continue;
        RE2::Replace(&line.text, misread, R"(\1.\2)");
    }
    return lines;
}

std::vector<OCRLine> recognise(const Platform& platform, const Path& file, std::stop_token stop) {
    if (platform.textRecognizer == nullptr) {
        throw RecognitionError(
            "Text in pictures cannot be read: the recogniser's English language data is missing "
            "(on Debian, install tesseract-ocr-eng).");
    }
    return withDecimalPoints(
        platform.textRecognizer->recognise(pictureOf(platform, file, stop), stop));
}

}  // namespace nookery::CrumbReceiptRecognizer
