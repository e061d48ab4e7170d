#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// Text is UTF-8 in std::string throughout. These helpers neither need nor change a locale, and
/// may be called from any thread. "White space" is Unicode's White_Space property; "newline" is
/// any of LF, VT, FF, CR, NEL, LS and PS; a "character" is an extended grapheme cluster.

/// Length in bytes of the longest valid UTF-8 prefix (no overlong forms, no surrogates).
std::size_t validUtf8Prefix(std::string_view text);
inline bool isValidUtf8(std::string_view text) { return validUtf8Prefix(text) == text.size(); }

/// Every invalid byte replaced by U+FFFD; NUL bytes dropped, since neither the database's text
/// binding nor any reader expects them.
std::string toValidUtf8(std::string_view bytes);

/// Reads one code point at `position` of valid UTF-8 and moves past it.
char32_t nextCodePoint(std::string_view text, std::size_t& position);
void appendUtf8(std::string& text, char32_t codePoint);
std::size_t codePointCount(std::string_view text);

bool isWhiteSpace(char32_t codePoint);
/// Whether a terminal would take the character for a command, or turn the direction of what
/// follows: control characters, and overrides, embeddings and isolates of the bidirectional
/// algorithm.
bool steersDisplay(char32_t codePoint);
/// Valid text with a blank for each character that steers the display, but for line ends: what is
/// shown may come from files and folders that others wrote.
std::string withoutSteering(std::string_view text);
bool isNewline(char32_t codePoint);

/// The text without white space and newlines at both ends.
std::string_view trimmed(std::string_view text);

/// Splits at newlines (CR LF counts once); the pieces may be empty.
std::vector<std::string_view> splitLines(std::string_view text);

/// Where the next newline begins at or after `from`; npos when there is none.
std::size_t findNewline(std::string_view text, std::size_t from);

/// Splits at white space; no piece is empty.
std::vector<std::string_view> splitWhiteSpace(std::string_view text);

/// The first `count` characters, or all when there are fewer. Costs no more than those.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// Each line trimmed, every run of white space in it folded to one space, empty lines dropped; the
/// rest joined by LF and cut to `maximumCharacterCount` characters. Reads hardly more of the text
/// than those need.
std::string foldedLines(std::string_view text, std::size_t maximumCharacterCount);

/// Where the character begins that the byte at `position` is part of; the text's size from its end
/// on.
std::size_t characterStart(std::string_view text, std::size_t position);

/// Unicode lower case, no locale's special rules.
std::string lowerCased(std::string_view text);

/// In Unicode's normal form C, which gives the same characters the same bytes.
std::string composed(std::string_view text);

/// First letter in upper case, the rest as it is.
std::string capitalised(std::string_view text);

/// The text cut to at most `byteCount` bytes without splitting a code point.
std::string_view cutToBytes(std::string_view text, std::size_t byteCount);

}  // namespace nookery
