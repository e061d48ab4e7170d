#include "backends/contenttypes/TextTypes.h"

#include <algorithm>
#include <array>
#include <utility>

#include "foundation/Text.h"

namespace nookery {
namespace {

using NamedType = std::pair<std::string_view, std::string_view>;

constexpr std::array<NamedType, 9> typeOfExtension = {{{".md", "text/markdown"},
                                                       {".markdown", "text/markdown"},
                                                       {".mkd", "text/markdown"},
                                                       {".html", "text/html"},
                                                       {".htm", "text/html"},
                                                       {".xhtml", "text/html"},
                                                       {".csv", "text/csv"},
                                                       {".ics", "text/calendar"},
                                                       {".vcf", "text/vcard"}}};

bool startsWithIgnoringCase(std::string_view text, std::string_view lowerCasePrefix) {
    return lowerCased(text.substr(0, lowerCasePrefix.size())) == lowerCasePrefix;
}

/// Past white space, XML's opening line and comments.
std::string_view withoutProlog(std::string_view text) {
    while (true) {
        const std::size_t start = text.find_first_not_of(" \t\r\n");
        if (start == std::string_view::npos) return {};
        text.remove_prefix(start);
        std::string_view end;
        if (text.starts_with("<?xml")) end = "?>";
        if (text.starts_with("<!--")) end = "-->";
        if (end.empty()) return text;
        const std::size_t place = text.find(end);
        if (place == std::string_view::npos) return {};
        text.remove_prefix(place + end.size());
    }
}

/// The fields with which mail programs begin a message, and how much each tells.
bool isMail(std::string_view head) {
    constexpr std::array<std::string_view, 6> transportFields = {
        "received:", "message-id:", "mime-version:", "return-path:", "delivered-to:", "x-mailer:"};
    bool hasSender = false;
    bool hasTransport = false;
    for (const std::string_view line : splitLines(head.substr(0, 8192))) {
        if (line.empty()) break;
        if (line[0] == ' ' || line[0] == '\t') continue;
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || colon == 0) return false;
        if (line.substr(0, colon).find(' ') != std::string_view::npos) return false;
        const std::string field = lowerCased(line.substr(0, colon + 1));
        hasSender = hasSender || field == "from:";
        hasTransport = hasTransport || std::find(transportFields.begin(), transportFields.end(),
                                                 field) != transportFields.end();
    }
    return hasSender && hasTransport;
}

bool isMailByName(std::string_view head, const Path& name) {
    if (lowerCaseExtension(name) != ".eml") return false;
    const std::string_view line = head.substr(0, head.find('\n'));
    const std::size_t colon = line.find(':');
    return colon != std::string_view::npos && colon > 0 &&
           line.substr(0, colon).find(' ') == std::string_view::npos;
}

/// By what a text itself says; none for plain text.
std::optional<ContentType> markedType(std::string_view text, const Path& name) {
    const std::string_view content = withoutProlog(text);
    if (startsWithIgnoringCase(content, "<!doctype html") ||
        startsWithIgnoringCase(content, "<html")) {
        return ContentType{"text/html"};
    }
    const bool isSvg =
        startsWithIgnoringCase(content, "<svg") || startsWithIgnoringCase(content, "<!doctype svg");
    if (isSvg) return ContentType{"image/svg+xml"};
    if (text.starts_with("{\\rtf")) return ContentType{"application/rtf"};
    if (text.starts_with("%PDF-")) return ContentType{"application/pdf"};
    if (text.starts_with("%!PS")) return ContentType{"application/postscript"};
    if (isMail(text) || isMailByName(text, name)) return ContentType{"message/rfc822"};
    return std::nullopt;
}

bool hasWideByteOrderMark(std::string_view head) {
    return head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF") ||
           head.starts_with(std::string_view("\x00\x00\xFE\xFF", 4));
}

/// Whether these bytes are the first ones of a character whose others were cut off.
bool beginsCharacter(std::string_view bytes) {
    const auto isContinuation = [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
    };
    const auto first = static_cast<unsigned char>(bytes[0]);
    return bytes.size() <= 3 && first >= 0xC2 && first <= 0xF4 &&
           std::all_of(bytes.begin() + 1, bytes.end(), isContinuation);
}

/// Valid but for a character cut at the end, and without the bytes that only binary files have.
bool isUtf8Text(std::string_view head) {
    const std::string_view rest = head.substr(validUtf8Prefix(head));
    if (!rest.empty() && !beginsCharacter(rest)) return false;
    return std::none_of(head.begin(), head.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isWritten = (byte >= '\t' && byte <= '\r') || byte == 0x1B || byte == 0x08;
        return byte < 0x20 && !isWritten;
    });
}

}  // namespace

std::string lowerCaseExtension(const Path& name) {
    return lowerCased(toValidUtf8(name.extension().native()));
}

ContentType plainTextTypeByName(const Path& name) {
    const std::string extension = lowerCaseExtension(name);
    const auto* const found =
        std::find_if(typeOfExtension.begin(), typeOfExtension.end(),
                     [&](const NamedType& entry) { return entry.first == extension; });
    return {found == typeOfExtension.end() ? "text/plain" : std::string(found->second)};
}

std::optional<ContentType> textTypeOf(std::string_view head, const Path& name) {
    if (hasWideByteOrderMark(head)) return plainTextTypeByName(name);
    if (!isUtf8Text(head)) return std::nullopt;
    if (head.starts_with("\xEF\xBB\xBF")) head.remove_prefix(3);
    if (auto marked = markedType(head, name)) return marked;
    return plainTextTypeByName(name);
}

}  // namespace nookery
