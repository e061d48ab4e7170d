#include <re2/re2.h>

#include <array>

#include "foundation/Text.h"
#include "platform/ContentType.h"
#include "platform/ImageReader.h"
#include "platform/PageReader.h"
#include "platform/Platform.h"
#include "receipts/CrumbReceiptRecognizer.h"

namespace nookery::CrumbReceiptRecognizer {
namespace {

ContentType typeOf(const Platform& platform, const Path& file) {
    std::array<std::byte, 65536> head;
    const auto opened = platform.files.openForReading(file);
    std::size_t count = 0;
    while (count < head.size()) {
        const std::size_t more = opened->read(std::span(head).subspan(count));
        if (more == 0) break;
        count += more;
    }
    return platform.contentTypes.detect({reinterpret_cast<const char*>(head.data()), count},
                                        file.filename());
}

Picture pictureOf(const Platform& platform, const Path& file, const std::stop_token& stop) {
    const ContentType type = typeOf(platform, file);
    constexpr int longestSide = TextRecognizer::usefulLongestSide;
    if (type.mediaType == "application/pdf") {
        return platform.pages.render(file, 0, longestSide, DocumentLimits{}, stop);
    }
    if (!platform.images.canRead(type)) {
        throw RecognitionError("\"" + displayName(file.filename()) +
                               "\" cannot be read as a receipt: it is neither an image nor a PDF.");
    }
    return platform.images.read(file, type, longestSide, ImageLimits{}, stop);
}

}  // namespace

std::vector<OCRLine> withDecimalPoints(std::vector<OCRLine> lines) {
    static const RE2 lostPoint(R"((\$ ?\d[\d,]*)(?: ?[.,] ?| )(\d{2})$)");
    for (OCRLine& line : lines) RE2::Replace(&line.text, lostPoint, R"(\1.\2)");
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
