#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/Timestamp.h"

/// How text is fitted into lines of a terminal.
namespace nookery::cli {

/// The text on one line, without anything that could steer a terminal or turn the writing around:
/// control characters become blanks, runs of white space one blank.
std::string printable(std::string_view text);
/// As printable, but line ends stay.
std::string printableLines(std::string_view text);
/// The same document, valid UTF-8, with escapes for what could steer a terminal.
std::string printableJson(std::string_view json);

/// Columns that the text takes: wide characters two, combining ones none.
std::size_t columnCount(std::string_view text);
/// Cut to at most `columns`, with "…" at the end when something is cut off.
std::string fitted(std::string_view text, std::size_t columns);
/// Filled with blanks up to `columns`.
std::string padded(std::string_view text, std::size_t columns);
/// Broken at blanks into lines of at most `columns`; a longer word keeps a line of its own.
std::vector<std::string> wrapped(std::string_view text, std::size_t columns);

/// "just now", "5 minutes ago", "yesterday", "12 March", "12 March 2024": as people say it, in the
/// machine's time zone.
std::string spokenDate(Timestamp date, Timestamp now);
/// "2026-03-01 09:30", local.
std::string exactDate(Timestamp date);
/// "812 bytes", "1.4 MB".
std::string spokenByteCount(double byteCount);
/// "1 memory", "3 memories".
std::string counted(std::size_t count, std::string_view one, std::string_view many);

}  // namespace nookery::cli
