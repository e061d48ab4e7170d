#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace nookery {

/// Where the next newline begins at or after `from`; npos when there is none.
std::size_t findNewline(std::string_view text, std::size_t from);

/// Each line trimmed and with every run of white space in it folded to one space; lines without
/// anything else dropped; the rest joined by LF and cut to `maximumCharacterCount` characters.
/// Reads hardly more of the text than those need.
std::string foldedLines(std::string_view text, std::size_t maximumCharacterCount);

}  // namespace nookery
