#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// Titles and readable text out of plain text and web pages. Pure functions on valid UTF-8, any
/// thread, time linear in the text whatever it holds.

/// The first line that is not blank, trimmed; when it has more than 72 characters its first 72 and
/// "…". "Untitled Memory" for a text of white space.
std::string titleFromText(std::string_view text);

/// The readable text of a web page: scripts, style sheets and their stand-ins gone, line breaks and
/// block elements as line ends, other tags as a space, entities decoded, white space folded, blank
/// lines dropped. At most 120,000 characters; the rest is left out.
std::string plainTextFromHTML(std::string_view html);

/// The content of the first title element that stands on one line; none when there is no such
/// element or only white space in it.
std::optional<std::string> titleFromHTML(std::string_view html);

/// `&nbsp; &amp; &lt; &gt; &quot; &#39;` replaced, one after the other in this order, so that an
/// escaped entity of the last four is decoded too: "&amp;lt;" ends as "<". All others stay.
std::string decodeEntities(std::string_view text);

struct PageText {
    std::string title;  ///< never empty
    std::string text;
};

/// What a captured web page is called and says: its own title, else the title of its text.
PageText pageText(std::string_view html);

}  // namespace nookery
