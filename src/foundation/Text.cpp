#include "foundation/Text.h"

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

#include <memory>

#include "foundation/Error.h"

namespace nookery {
namespace {

bool isAscii(std::string_view text) {
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    }
    return true;
}

/// Where the cluster that begins a text of plain ASCII ends: only CR LF joins two.
std::size_t asciiCharactersEnd(std::string_view text, std::size_t count) {
    std::size_t position = 0;
    for (; count > 0 && position < text.size(); --count) {
        const bool pair = text.substr(position, 2) == "\r\n";
        position += pair ? 2 : 1;
    }
    return position;
}

icu::BreakIterator& characterIterator() {
    thread_local const auto iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status)) throw Error("The Unicode library has no character rules.");
        return made;
    }();
    return *iterator;
}

/// Collects words and the gaps between them.
class LineFolder {
  public:
    explicit LineFolder(std::size_t maximumCharacterCount)
        : maximumCharacterCount_(maximumCharacterCount), checkAt_(4 * maximumCharacterCount + 1) {}

    void newline() { gap_ = '\n'; }
    void space() {
        if (gap_ == 0) gap_ = ' ';
    }
    void word(std::string_view bytes) {
        if (gap_ != 0 && !folded_.empty()) folded_ += gap_;
        gap_ = 0;
        folded_ += bytes;
    }

    /// Counting characters costs time, so it is done each time the text has doubled.
    bool isFull() {
        if (folded_.size() < checkAt_) return false;
        checkAt_ *= 2;
        return firstCharacters(folded_, maximumCharacterCount_).size() < folded_.size();
    }

    std::string take() {
        folded_.resize(firstCharacters(folded_, maximumCharacterCount_).size());
        return std::move(folded_);
    }

  private:
    std::size_t maximumCharacterCount_;
    std::size_t checkAt_;
    std::string folded_;
    char gap_ = 0;
};

}  // namespace

// NOLINTNEXTLINE(readability-function-size): ICU's macros nest.
std::size_t validUtf8Prefix(std::string_view text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int64_t>(text.size());
    std::int64_t position = 0;
    while (position < length) {
        if (bytes[position] < 0x80) {
            ++position;
            continue;
        }
        std::int64_t next = position;
        UChar32 codePoint = 0;
        U8_NEXT(bytes, next, length, codePoint);
        if (codePoint < 0) return static_cast<std::size_t>(position);
        position = next;
    }
    return text.size();
}

std::string toValidUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t valid = validUtf8Prefix(bytes);
        for (const char c : bytes.substr(0, valid)) {
            if (c != '\0') text += c;
        }
        bytes.remove_prefix(valid);
        if (bytes.empty()) break;
        text += "\xEF\xBF\xBD";
        bytes.remove_prefix(1);
    }
    return text;
}

char32_t nextCodePoint(std::string_view text, std::size_t& position) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    auto index = static_cast<std::int64_t>(position);
    UChar32 codePoint = 0;
    U8_NEXT_OR_FFFD(bytes, index, static_cast<std::int64_t>(text.size()), codePoint);
    position = static_cast<std::size_t>(index);
    return static_cast<char32_t>(codePoint);
}

// NOLINTNEXTLINE(readability-function-size): ICU's macros nest.
void appendUtf8(std::string& text, char32_t codePoint) {
    char buffer[4];
    std::int32_t length = 0;
    const auto value = static_cast<UChar32>(codePoint);
    if (!U_IS_UNICODE_CHAR(value) && value > 0x10FFFF) return;
    U8_APPEND_UNSAFE(buffer, length, value);
    text.append(buffer, static_cast<std::size_t>(length));
}

std::size_t codePointCount(std::string_view text) {
    std::size_t count = 0;
    for (const char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    return count;
}

bool isWhiteSpace(char32_t codePoint) {
    if (codePoint < 0x80) return codePoint == ' ' || (codePoint >= 9 && codePoint <= 13);
    return u_isUWhiteSpace(static_cast<UChar32>(codePoint)) != 0;
}

bool steersDisplay(char32_t codePoint) {
    if (codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F)) return true;
    return (codePoint >= 0x202A && codePoint <= 0x202E) ||
           (codePoint >= 0x2066 && codePoint <= 0x2069);
}

std::string withoutSteering(std::string_view text) {
    const std::string valid = toValidUtf8(text);
    std::string shown;
    shown.reserve(valid.size());
    for (std::size_t position = 0; position < valid.size();) {
        const char32_t c = nextCodePoint(valid, position);
        appendUtf8(shown, steersDisplay(c) && c != '\n' ? U' ' : c);
    }
    return shown;
}

bool isNewline(char32_t codePoint) {
    return (codePoint >= 0x0A && codePoint <= 0x0D) || codePoint == 0x85 || codePoint == 0x2028 ||
           codePoint == 0x2029;
}

std::string_view trimmed(std::string_view text) {
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t next = start;
        if (!isWhiteSpace(nextCodePoint(text, next))) break;
        start = next;
    }
    std::size_t end = text.size();
    while (end > start) {
        std::size_t previous = end - 1;
        while (previous > start && (static_cast<unsigned char>(text[previous]) & 0xC0) == 0x80) {
            --previous;
        }
        std::size_t reader = previous;
        if (!isWhiteSpace(nextCodePoint(text, reader))) break;
        end = previous;
    }
    return text.substr(start, end - start);
}

std::vector<std::string_view> splitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t lineStart = 0;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        const char32_t codePoint = nextCodePoint(text, position);
        if (!isNewline(codePoint)) continue;
        lines.push_back(text.substr(lineStart, start - lineStart));
        if (codePoint == '\r' && position < text.size() && text[position] == '\n') ++position;
        lineStart = position;
    }
    lines.push_back(text.substr(lineStart));
    return lines;
}

std::vector<std::string_view> splitWhiteSpace(std::string_view text) {
    std::vector<std::string_view> pieces;
    std::size_t pieceStart = 0;
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t start = position;
        if (!isWhiteSpace(nextCodePoint(text, position))) continue;
        if (start > pieceStart) pieces.push_back(text.substr(pieceStart, start - pieceStart));
        pieceStart = position;
    }
    if (pieceStart < text.size()) pieces.push_back(text.substr(pieceStart));
    return pieces;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    if (text.size() <= count) return text;
    // The first `count` clusters of ASCII, and one byte more to see that no mark follows.
    const std::size_t asciiEnd = asciiCharactersEnd(text, count);
    if (isAscii(text.substr(0, asciiEnd + 1))) return text.substr(0, asciiEnd);
    UErrorCode status = U_ZERO_ERROR;
    UText* view =
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status);
    auto& iterator = characterIterator();
    iterator.setText(view, status);
    std::int32_t end = 0;
    for (std::size_t i = 0; U_SUCCESS(status) && i < count; ++i) {
        const std::int32_t next = iterator.next();
        if (next == icu::BreakIterator::DONE) {
            end = static_cast<std::int32_t>(text.size());
            break;
        }
        end = next;
    }
    utext_close(view);
    if (U_FAILURE(status)) throw Error("The Unicode library could not read a text.");
    return text.substr(0, static_cast<std::size_t>(end));
}

std::size_t characterStart(std::string_view text, std::size_t position) {
    if (position >= text.size()) return text.size();
    while (position > 0 && (static_cast<unsigned char>(text[position]) & 0xC0) == 0x80) --position;
    UErrorCode status = U_ZERO_ERROR;
    UText* view =
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status);
    auto& iterator = characterIterator();
    iterator.setText(view, status);
    auto start = static_cast<std::int32_t>(position);
    if (!iterator.isBoundary(start)) start = iterator.preceding(start);
    utext_close(view);
    if (U_FAILURE(status)) throw Error("The Unicode library could not read a text.");
    return static_cast<std::size_t>(start);
}

std::string lowerCased(std::string_view text) {
    std::string result;
    if (isAscii(text)) {
        result.reserve(text.size());
        for (const char c : text) {
            result += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
        }
        return result;
    }
    icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())})
        .toLower(icu::Locale::getRoot())
        .toUTF8String(result);
    return result;
}

std::string composed(std::string_view text) {
    if (isAscii(text)) return std::string(text);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* form = icu::Normalizer2::getNFCInstance(status);
    std::string result;
    if (U_SUCCESS(status)) {
        icu::StringByteSink<std::string> sink(&result);
        const icu::StringPiece source(text.data(), static_cast<std::int32_t>(text.size()));
        form->normalizeUTF8(0, source, sink, nullptr, status);
    }
    if (U_FAILURE(status)) throw Error("The Unicode library cannot compose characters.");
    return result;
}

std::string capitalised(std::string_view text) {
    if (text.empty()) return {};
    std::size_t end = 0;
    const char32_t first = nextCodePoint(text, end);
    std::string result;
    appendUtf8(result, static_cast<char32_t>(u_totitle(static_cast<UChar32>(first))));
    result += text.substr(end);
    return result;
}

std::string_view cutToBytes(std::string_view text, std::size_t byteCount) {
    if (text.size() <= byteCount) return text;
    while (byteCount > 0 && (static_cast<unsigned char>(text[byteCount]) & 0xC0) == 0x80) {
        --byteCount;
    }
    return text.substr(0, byteCount);
}

std::size_t findNewline(std::string_view text, std::size_t from) {
    for (std::size_t position = from; position < text.size();) {
        const std::size_t start = position;
        if (isNewline(nextCodePoint(text, position))) return start;
    }
    return std::string_view::npos;
}

std::string foldedLines(std::string_view text, std::size_t maximumCharacterCount) {
    LineFolder folder(maximumCharacterCount);
    std::size_t wordStart = 0;
    std::size_t position = 0;
    while (position < text.size() && !folder.isFull()) {
        const std::size_t start = position;
        const char32_t codePoint = nextCodePoint(text, position);
        if (!isWhiteSpace(codePoint)) continue;
        if (start > wordStart) folder.word(text.substr(wordStart, start - wordStart));
        wordStart = position;
        if (isNewline(codePoint)) {
            folder.newline();
        } else {
            folder.space();
        }
    }
    if (position > wordStart) folder.word(text.substr(wordStart, position - wordStart));
    return folder.take();
}

}  // namespace nookery
