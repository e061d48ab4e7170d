#include "backends/documents/HtmlDocumentText.h"

#include <libxml/HTMLparser.h>

#include <charconv>

#include "foundation/HtmlMarkup.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t maximumNameByteCount = 10;

/// The code point that stands behind "&#", or 0.
char32_t numberedEntity(std::string_view number) {
    const bool isHexadecimal = number.starts_with('x') || number.starts_with('X');
    if (isHexadecimal) number.remove_prefix(1);
    std::uint32_t value = 0;
    const char* const end = number.data() + number.size();
    const auto read = std::from_chars(number.data(), end, value, isHexadecimal ? 16 : 10);
    const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
    return read.ec == std::errc() && read.ptr == end && value <= 0x10FFFF && !isSurrogate ? value
                                                                                          : 0;
}

/// The code point that "&name;" stands for, or 0.
char32_t entity(const std::string& name) {
    if (name.starts_with('#')) return numberedEntity(std::string_view(name).substr(1));
    if (name == "apos") return '\'';
    const auto* known = htmlEntityLookup(reinterpret_cast<const xmlChar*>(name.c_str()));
    return known == nullptr ? 0 : known->value;
}

std::string withEntitiesDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t start = std::min(text.find('&', position), text.size());
        decoded += text.substr(position, start - position);
        position = start;
        const std::string_view here = text.substr(start, maximumNameByteCount + 2);
        const std::size_t end = here.find(';');
        const char32_t character =
            end == std::string_view::npos ? 0 : entity(std::string(here.substr(1, end - 1)));
        if (character != 0) {
            appendUtf8(decoded, character);
            position += end + 1;
        } else if (position < text.size()) {
            decoded += text[position++];
        }
    }
    return decoded;
}

}  // namespace

std::string htmlDocumentText(std::string_view html, std::size_t maximumByteCount) {
    const std::string text =
        foldedLines(withEntitiesDecoded(withoutMarkup(html)), maximumByteCount);
    return std::string(cutToBytes(text, maximumByteCount));
}

}  // namespace nookery
