#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// The hashtags in a text, lower-cased, without the "#". A hashtag is a "#" with no letter, digit
/// or underscore before it, then a letter or digit, then any run of letters, digits, underscores
/// and hyphens, of any script. Any thread.
std::set<std::string> hashtagsIn(std::string_view text);

/// All tags of a memory: the hashtags of its title and note, and the manual ones, whose spelling
/// stands where both are the same. Sorted as tags are compared. Any thread.
std::vector<std::string> allTags(const std::string& title, const std::string& note,
                                 const std::vector<std::string>& manualTags);

/// The form in which tags are compared: lower-cased, trimmed, without a leading "#". Empty when
/// nothing is left. Any thread.
std::string comparableTag(std::string_view tag);

}  // namespace nookery
