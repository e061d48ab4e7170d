#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// The text of bytes in an unknown encoding: by its byte order mark (which is dropped), else as
/// UTF-8 where all of it is valid, else in the encoding that its byte statistics suggest, else as
/// Windows-1252. Always valid UTF-8 without NUL; bytes that mean nothing in the encoding become
/// U+FFFD.
/// Any thread.
std::string decodeText(std::string_view bytes);

/// The bytes as UTF-8, without byte order mark and NUL; none when they are not valid.
std::optional<std::string> decodeUtf8(std::string_view bytes);

/// The text of bytes in a named encoding, such as "windows-1252"; none when there is no encoding of
/// that name. Valid UTF-8 without NUL.
std::optional<std::string> decodeTextAs(std::string_view bytes, const std::string& encoding);

}  // namespace nookery
