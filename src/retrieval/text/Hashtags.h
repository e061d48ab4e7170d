#pragma once

#include <set>
#include <string>
#include <string_view>

namespace nookery {

/// The hashtags written in a text, lower-cased, without the "#": a "#" that no letter, digit or
/// underscore precedes, then a letter or digit, then any run of letters, digits, underscores and
/// hyphens, of any script. Any thread.
std::set<std::string> hashtagsIn(std::string_view text);

/// How tags are compared: lower-cased, trimmed, without a leading "#". Empty for what is no tag.
std::string comparableTag(std::string_view tag);

}  // namespace nookery
