#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nookery {

// The markup of web pages, as far as readable text needs it. Works on valid UTF-8. Time is linear
// in the page, however its tags are nested, left open or repeated. Names of elements are compared
// by Unicode case folding. Pure, any thread.

/// The page without its tags. Scripts, then styles, then noscript elements become a space each with
/// all they hold; then line breaks become LF; then the opening and closing tags of blocks
/// (paragraphs, divisions, headings, list items, table rows ...) LF; then every other tag a space.
/// The order shows where tags are broken or lie inside one another. Entities stay.
std::string withoutMarkup(std::string_view html);

/// The content of the first title element that has no line end in it, without title tags.
std::optional<std::string> titleElementContent(std::string_view html);

}  // namespace nookery
