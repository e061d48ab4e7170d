#include "retrieval/text/Hashtags.h"

#include <unicode/uchar.h>

#include <map>

#include "foundation/Text.h"

namespace nookery {
namespace {

bool isLetterOrDigit(char32_t codePoint) {
    const auto mask = U_GET_GC_MASK(static_cast<UChar32>(codePoint));
    return (mask & (U_GC_L_MASK | U_GC_N_MASK)) != 0;
}

bool continuesTag(char32_t codePoint) {
    return codePoint == U'_' || codePoint == U'-' || isLetterOrDigit(codePoint);
}

/// Whether the character before `position` keeps a "#" there from beginning a tag.
bool isPrecededByWord(std::string_view text, std::size_t position) {
    if (position == 0) return false;
    std::size_t start = position - 1;
    while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
    const char32_t before = nextCodePoint(text, start);
    return before == U'_' || isLetterOrDigit(before);
}

/// The tag at the beginning of a text that follows a "#"; empty when there is none.
std::string_view tagAt(std::string_view text) {
    std::size_t end = 0;
    while (end < text.size()) {
        std::size_t next = end;
        const char32_t codePoint = nextCodePoint(text, next);
        if (end == 0 ? !isLetterOrDigit(codePoint) : !continuesTag(codePoint)) break;
        end = next;
    }
    return text.substr(0, end);
}

}  // namespace

std::set<std::string> hashtagsIn(std::string_view text) {
    std::set<std::string> tags;
    std::size_t position = 0;
    while ((position = text.find('#', position)) != std::string_view::npos) {
        const std::string_view tag = tagAt(text.substr(position + 1));
        if (!tag.empty() && !isPrecededByWord(text, position)) tags.insert(lowerCased(tag));
        position += 1 + tag.size();
    }
    return tags;
}

std::vector<std::string> allTags(const std::string& title, const std::string& note,
                                 const std::vector<std::string>& manualTags) {
    std::map<std::string, std::string> bySpelling;
    for (const std::string& text : {title, note}) {
        for (const std::string& tag : hashtagsIn(text)) bySpelling.emplace(tag, tag);
    }
    for (const std::string& tag : manualTags) bySpelling[comparableTag(tag)] = tag;
    std::vector<std::string> tags;
    for (const auto& [lower, spelling] : bySpelling) tags.push_back(spelling);
    return tags;
}

std::string comparableTag(std::string_view tag) {
    tag = trimmed(tag);
    if (!tag.empty() && tag.front() == '#') tag.remove_prefix(1);
    return lowerCased(tag);
}

}  // namespace nookery
