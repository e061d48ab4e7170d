#include "collection/text/WebAddress.h"

#include <algorithm>
#include <charconv>

#include "foundation/Text.h"

namespace nookery {
namespace {

bool isUnfit(char32_t codePoint) {
    return codePoint < 0x20 || codePoint == 0x7f || isWhiteSpace(codePoint);
}

bool hasUnfitCharacters(std::string_view text) {
    for (std::size_t position = 0; position < text.size();) {
        if (isUnfit(nextCodePoint(text, position))) return true;
    }
    return false;
}

std::string asciiLowerCased(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    });
    return lower;
}

/// The byte that "%C3" at the front of `text` stands for.
std::optional<char> escapedByte(std::string_view text) {
    if (text.size() < 3 || text[0] != '%') return std::nullopt;
    unsigned value = 0;
    const char* digits = text.data() + 1;
    if (std::from_chars(digits, digits + 2, value, 16).ptr != digits + 2) return std::nullopt;
    return static_cast<char>(value);
}

bool isAsciiControl(char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7f;
}

/// "caf%C3%A9" as "café". All escapes stay when they do not make up a readable text.
std::string withoutEscapes(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = escapedByte(text.substr(i));
        decoded += byte.value_or(text[i]);
        if (byte) i += 2;
    }
    const bool hasControls = std::any_of(decoded.begin(), decoded.end(), isAsciiControl);
    return isValidUtf8(decoded) && !hasControls ? decoded : std::string(text);
}

struct Pieces {
    std::string scheme;     ///< "http" or "https"
    std::string userInfo;   ///< with its "@"; may be empty
    std::string host;       ///< lower case, with its port unless that is the scheme's own
    std::string_view rest;  ///< path, query and fragment
};

std::optional<Pieces> split(std::string_view url) {
    const std::size_t schemeEnd = url.find("://");
    if (schemeEnd == std::string_view::npos) return std::nullopt;
    Pieces pieces;
    pieces.scheme = asciiLowerCased(url.substr(0, schemeEnd));
    if (pieces.scheme != "http" && pieces.scheme != "https") return std::nullopt;
    const std::string_view after = url.substr(schemeEnd + 3);
    const std::size_t authorityEnd = std::min(after.find_first_of("/?#\\"), after.size());
    std::string_view authority = after.substr(0, authorityEnd);
    const std::size_t userEnd = authority.rfind('@') + 1;  // 0 when there is none
    pieces.userInfo = authority.substr(0, userEnd);
    pieces.host = asciiLowerCased(authority.substr(userEnd));
    const std::string defaultPort = pieces.scheme == "http" ? ":80" : ":443";
    if (pieces.host.ends_with(defaultPort)) {
        pieces.host.resize(pieces.host.size() - defaultPort.size());
    }
    pieces.rest = after.substr(authorityEnd);
    if (pieces.host.empty() || pieces.host.front() == ':') return std::nullopt;
    return pieces;
}

}  // namespace

std::optional<WebAddress> parseWebAddress(std::string_view text) {
    const std::string_view url = trimmed(text);
    if (!isValidUtf8(url) || hasUnfitCharacters(url)) return std::nullopt;
    const auto pieces = split(url);
    if (!pieces) return std::nullopt;

    const bool emptyPath = pieces->rest.empty() || pieces->rest.front() != '/';
    WebAddress address;
    address.url = url;
    address.identity = pieces->scheme + "://" + pieces->userInfo + pieces->host +
                       (emptyPath ? "/" : "") + std::string(pieces->rest);
    const std::size_t hostStart = pieces->host.starts_with("www.") ? 4 : 0;
    std::string_view shownRest = pieces->rest;
    if (shownRest.ends_with('/')) shownRest.remove_suffix(1);
    address.readable = pieces->host.substr(hostStart) + withoutEscapes(shownRest);
    return address;
}

}  // namespace nookery
