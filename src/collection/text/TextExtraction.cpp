#include "collection/text/TextExtraction.h"

#include <array>
#include <utility>

#include "foundation/HtmlMarkup.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t maximumTitleCharacterCount = 72;
constexpr std::size_t maximumPageCharacterCount = 120000;

using Entity = std::pair<std::string_view, char>;

/// What an ampersand that was itself escaped still makes with the letters behind it.
constexpr std::array<Entity, 4> entitiesAfterAmpersand = {
    {{"lt;", '<'}, {"gt;", '>'}, {"quot;", '"'}, {"#39;", '\''}}};

/// Reads one entity behind the "&" that ends at `position`, moves past it and returns its
/// character; '&' when there is none.
char nextEntity(std::string_view text, std::size_t& position) {
    for (const auto& [name, character] : entitiesAfterAmpersand) {
        if (!text.substr(position).starts_with(name)) continue;
        position += name.size();
        return character;
    }
    return '&';
}

}  // namespace

std::string titleFromText(std::string_view text) {
    const std::string_view content = trimmed(text);
    const std::string_view line = trimmed(content.substr(0, findNewline(content, 0)));
    if (line.empty()) return "Untitled Memory";
    const std::string_view title = firstCharacters(line, maximumTitleCharacterCount);
    return std::string(title) + (title.size() < line.size() ? "…" : "");
}

std::string plainTextFromHTML(std::string_view html) {
    return foldedLines(decodeEntities(withoutMarkup(html)), maximumPageCharacterCount);
}

std::optional<std::string> titleFromHTML(std::string_view html) {
    const auto content = titleElementContent(html);
    if (!content) return std::nullopt;
    const std::string_view title = trimmed(*content);
    if (title.empty()) return std::nullopt;
    return decodeEntities(title);
}

std::string decodeEntities(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    std::size_t position = 0;
    while (true) {
        const std::size_t ampersand = text.find('&', position);
        decoded += text.substr(position, ampersand - position);
        if (ampersand == std::string_view::npos) return decoded;
        position = ampersand + 1;
        const std::string_view name = text.substr(position, 5);
        if (name == "nbsp;") {
            position += name.size();
            decoded += ' ';
            continue;
        }
        if (name.starts_with("amp;")) position += 4;
        decoded += nextEntity(text, position);
    }
}

PageText pageText(std::string_view html) {
    PageText page;
    page.text = plainTextFromHTML(html);
    page.title = titleFromHTML(html).value_or(titleFromText(page.text));
    if (page.title.empty()) page.title = "HTML Memory";
    return page;
}

}  // namespace nookery
