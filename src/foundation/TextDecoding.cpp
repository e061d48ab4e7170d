#include "foundation/TextDecoding.h"

#include <unicode/ucnv.h>
#include <unicode/ucsdet.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

struct ByteOrderMark {
    std::string_view bytes;
    const char* encoding;
};

/// The longer ones first: UTF-32's begins with UTF-16's.
constexpr std::array<ByteOrderMark, 5> byteOrderMarks = {{
    {{"\xFF\xFE\x00\x00", 4}, "UTF-32LE"},
    {{"\x00\x00\xFE\xFF", 4}, "UTF-32BE"},
    {{"\xEF\xBB\xBF", 3}, "UTF-8"},
    {{"\xFF\xFE", 2}, "UTF-16LE"},
    {{"\xFE\xFF", 2}, "UTF-16BE"},
}};

/// How many bytes the statistics look at.
constexpr std::size_t sampleByteCount = 8000;

/// UTF-16 in which a fair part of the letters is Latin shows by its NUL bytes, which all stand on
/// one side of their pairs.
const char* utf16WithoutMark(std::string_view bytes) {
    const std::size_t pairs = std::min(bytes.size(), sampleByteCount) / 2;
    std::array<std::size_t, 2> nulCounts = {0, 0};
    for (std::size_t i = 0; i < 2 * pairs; ++i) nulCounts[i % 2] += bytes[i] == '\0';
    const auto [high, low] = nulCounts;
    if (4 * low > pairs && 20 * high < pairs) return "UTF-16LE";
    if (4 * high > pairs && 20 * low < pairs) return "UTF-16BE";
    return nullptr;
}

/// The seven-bit encodings of Japanese, Korean and Chinese mail switch alphabets by these.
bool hasEscapeSequence(std::string_view bytes) {
    return bytes.find("\x1B$") != std::string_view::npos ||
           bytes.find("\x1B(") != std::string_view::npos;
}

/// The bytes that tell most about the encoding: those around the first that is not ASCII.
std::string_view tellingSample(std::string_view bytes) {
    const auto foreign = std::find_if(bytes.begin(), bytes.end(), [](char c) {
        return static_cast<unsigned char>(c) >= 0x80 || c == 0x1B;
    });
    const auto place = static_cast<std::size_t>(foreign - bytes.begin());
    const std::size_t start = place > sampleByteCount / 4 ? place - sampleByteCount / 4 : 0;
    return bytes.substr(start, sampleByteCount);
}

struct Guess {
    std::string encoding;
    int confidence = 0;  ///< 0 to 100
};

std::optional<Guess> bestGuess(std::string_view sample) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&status),
                                                                              ucsdet_close);
    ucsdet_setText(detector.get(), sample.data(), static_cast<std::int32_t>(sample.size()),
                   &status);
    std::int32_t count = 0;
    const UCharsetMatch** matches = ucsdet_detectAll(detector.get(), &count, &status);
    for (std::int32_t i = 0; U_SUCCESS(status) && i < count; ++i) {
        Guess guess{ucsdet_getName(matches[i], &status), ucsdet_getConfidence(matches[i], &status)};
        // Mainframe encodings only ever turn up by mistake; these bytes were shown not to be UTF-8.
        if (guess.encoding.starts_with("IBM") || guess.encoding.starts_with("UTF-8")) continue;
        return guess;
    }
    return std::nullopt;
}

std::string guessedEncoding(std::string_view bytes) {
    constexpr int leastConfidence = 15;
    const auto guess = bestGuess(tellingSample(bytes));
    if (!guess || guess->confidence < leastConfidence || guess->encoding == "ISO-8859-1") {
        return "windows-1252";
    }
    return guess->encoding;
}

}  // namespace

std::string decodeText(std::string_view bytes) {
    for (const auto& mark : byteOrderMarks) {
        if (!bytes.starts_with(mark.bytes)) continue;
        bytes.remove_prefix(mark.bytes.size());
        return decodeTextAs(bytes, mark.encoding).value();
    }
    if (const char* encoding = utf16WithoutMark(bytes)) {
        return decodeTextAs(bytes, encoding).value();
    }
    if (hasEscapeSequence(bytes)) {
        const auto guess = bestGuess(tellingSample(bytes));
        if (guess && guess->encoding.starts_with("ISO-2022")) {
            return decodeTextAs(bytes, guess->encoding).value();
        }
    }
    if (isValidUtf8(bytes)) return toValidUtf8(bytes);
    const auto text = decodeTextAs(bytes, guessedEncoding(bytes));
    return text ? *text : toValidUtf8(bytes);
}

std::optional<std::string> decodeUtf8(std::string_view bytes) {
    if (!isValidUtf8(bytes)) return std::nullopt;
    if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
    return toValidUtf8(bytes);
}

std::optional<std::string> decodeTextAs(std::string_view bytes, const std::string& encoding) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(
        ucnv_open(encoding.c_str(), &status), ucnv_close);
    if (U_FAILURE(status)) return std::nullopt;
    std::string text(3 * bytes.size() + 16, '\0');
    const auto convert = [&] {
        status = U_ZERO_ERROR;
        return ucnv_toAlgorithmic(UCNV_UTF8, converter.get(), text.data(),
                                  static_cast<std::int32_t>(text.size()), bytes.data(),
                                  static_cast<std::int32_t>(bytes.size()), &status);
    };
    std::int32_t byteCount = convert();
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        text.resize(static_cast<std::size_t>(byteCount));
        byteCount = convert();
    }
    if (U_FAILURE(status))
        throw Error("The Unicode library could not convert a text from " + encoding + ".");
    text.resize(static_cast<std::size_t>(byteCount));
    return toValidUtf8(text);
}

}  // namespace nookery
