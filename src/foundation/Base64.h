#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// The standard alphabet with padding, on one line. Any thread.
std::string toBase64(std::string_view bytes);

/// None for anything but well-formed, padded base64; ASCII white space between the digits is
/// skipped.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace nookery
