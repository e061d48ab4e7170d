#include "foundation/HtmlMarkup.h"

#include <unicode/uchar.h>

#include <array>
#include <functional>

#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr auto npos = std::string_view::npos;

char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Where `name` (lower-case ASCII) ends when the text has it at `position`; npos when not. Of the
/// characters beyond ASCII, only the long s and the two ligatures of s and t fold to letters that
/// our names have.
std::size_t endOfName(std::string_view text, std::size_t position, std::string_view name) {
    while (!name.empty()) {
        if (position >= text.size()) return npos;
        const std::string_view here = text.substr(position, 3);
        std::size_t letters = 1;
        if (asciiLower(here[0]) == name[0]) {
            position += 1;
        } else if (name[0] == 's' && here.starts_with("\u017F")) {
            position += 2;
        } else if (name.starts_with("st") && (here == "\uFB05" || here == "\uFB06")) {
            position += 3;
            letters = 2;
        } else {
            return npos;
        }
        name.remove_prefix(letters);
    }
    return position;
}

/// Whether a name that ends before `position` ends a word there: no letter, digit, mark or
/// connector goes on with it, nor a character that only formats.
bool wordEndsAt(std::string_view text, std::size_t position) {
    if (position >= text.size()) return true;
    const auto next = static_cast<UChar32>(nextCodePoint(text, position));
    if (next < 0x80) return !(u_isalnum(next) || next == '_');
    const auto type = U_GET_GC_MASK(next);
    const bool inWord = (type & (U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK | U_GC_CF_MASK)) != 0;
    return !inWord && !u_hasBinaryProperty(next, UCHAR_ALPHABETIC) &&
           !u_hasBinaryProperty(next, UCHAR_GRAPHEME_EXTEND);
}

/// Finds the next place of something. Callers ask for ever later positions, so that all questions
/// together cost one pass over the text.
template <typename Find>
class NextPlace {
  public:
    explicit NextPlace(Find find) : find_(std::move(find)) {}

    std::size_t from(std::size_t position) {
        if (!known_ || place_ < position) place_ = find_(position);
        known_ = true;
        return place_;
    }

  private:
    Find find_;
    std::size_t place_ = 0;
    bool known_ = false;
};

auto nextBracket(std::string_view text) {
    return NextPlace([text](std::size_t from) { return text.find('>', from); });
}

auto nextName(std::string_view text, std::string_view name) {
    return NextPlace([text, name](std::size_t from) {
        std::size_t place = text.find(name[0], from);
        while (place != npos && endOfName(text, place, name) == npos) {
            place = text.find(name[0], place + 1);
        }
        return place;
    });
}

/// Replaces what begins at a "<" and ends where `endOfMatch(start)` says (npos: no match there).
template <typename EndOfMatch>
std::string replaceTags(std::string_view text, std::string_view replacement,
                        EndOfMatch endOfMatch) {
    std::string result;
    result.reserve(text.size());
    std::size_t copied = 0;
    for (std::size_t start = text.find('<'); start != npos; start = text.find('<', start)) {
        const std::size_t end = endOfMatch(start);
        if (end == npos) {
            ++start;
            continue;
        }
        result += text.substr(copied, start - copied);
        result += replacement;
        copied = start = end;
    }
    result += text.substr(copied);
    return result;
}

/// From the element's opening tag to its first closing one.
std::string replaceElements(std::string_view text, std::string_view name) {
    const std::string closingTag = "</" + std::string(name) + ">";
    auto bracket = nextBracket(text);
    auto closing = nextName(text, closingTag);
    return replaceTags(text, " ", [&](std::size_t start) {
        const std::size_t nameEnd = endOfName(text, start + 1, name);
        if (nameEnd == npos || !wordEndsAt(text, nameEnd)) return npos;
        const std::size_t open = bracket.from(nameEnd);
        if (open == npos) return npos;
        const std::size_t close = closing.from(open + 1);
        return close == npos ? npos : endOfName(text, close, closingTag);
    });
}

std::string replaceLineBreaks(std::string_view text) {
    return replaceTags(text, "\n", [&](std::size_t start) {
        std::size_t position = endOfName(text, start + 1, "br");
        if (position == npos) return npos;
        std::size_t next = position;
        while (next < text.size() && isWhiteSpace(nextCodePoint(text, next))) position = next;
        if (text.substr(position).starts_with('/')) ++position;
        return text.substr(position).starts_with('>') ? position + 1 : npos;
    });
}

/// A tag whose name merely begins with a block's counts too.
bool beginsBlockName(std::string_view text, std::size_t position) {
    constexpr std::array<std::string_view, 8> names = {"p",      "div",    "section", "article",
                                                       "header", "footer", "li",      "tr"};
    for (const auto name : names) {
        if (endOfName(text, position, name) != npos) return true;
    }
    const std::size_t level = endOfName(text, position, "h");
    return level != npos && level < text.size() && text[level] >= '1' && text[level] <= '6';
}

std::size_t afterSlash(std::string_view text, std::size_t position) {
    return text.substr(position).starts_with('/') ? position + 1 : position;
}

std::string replaceBlockTags(std::string_view text) {
    auto bracket = nextBracket(text);
    return replaceTags(text, "\n", [&](std::size_t start) {
        const std::size_t name = afterSlash(text, start + 1);
        if (!beginsBlockName(text, name)) return npos;
        const std::size_t close = bracket.from(name);
        return close == npos ? npos : close + 1;
    });
}

std::string replaceOtherTags(std::string_view text) {
    auto bracket = nextBracket(text);
    return replaceTags(text, " ", [&](std::size_t start) {
        const std::size_t close = bracket.from(start + 1);
        return close == npos || close == start + 1 ? npos : close + 1;
    });
}

std::string removeTitleTags(std::string_view text) {
    auto bracket = nextBracket(text);
    return replaceTags(text, "", [&](std::size_t start) {
        const std::size_t nameEnd = endOfName(text, afterSlash(text, start + 1), "title");
        if (nameEnd == npos) return npos;
        const std::size_t close = bracket.from(nameEnd);
        return close == npos ? npos : close + 1;
    });
}

}  // namespace

std::string withoutMarkup(std::string_view html) {
    std::string text = replaceElements(html, "script");
    text = replaceElements(text, "style");
    text = replaceElements(text, "noscript");
    text = replaceLineBreaks(text);
    text = replaceBlockTags(text);
    return replaceOtherTags(text);
}

std::optional<std::string> titleElementContent(std::string_view html) {
    constexpr std::string_view closingTag = "</title>";
    auto bracket = nextBracket(html);
    auto closing = nextName(html, closingTag);
    NextPlace newline([html](std::size_t from) { return findNewline(html, from); });
    for (std::size_t start = html.find('<'); start != npos; start = html.find('<', start + 1)) {
        const std::size_t nameEnd = endOfName(html, start + 1, "title");
        if (nameEnd == npos) continue;
        const std::size_t open = bracket.from(nameEnd);
        if (open == npos) return std::nullopt;
        const std::size_t close = closing.from(open + 1);
        if (close == npos) return std::nullopt;
        if (newline.from(open + 1) < close) continue;
        return removeTitleTags(html.substr(start, close + closingTag.size() - start));
    }
    return std::nullopt;
}

}  // namespace nookery
