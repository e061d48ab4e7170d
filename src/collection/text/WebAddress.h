#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// A link to a web page.
struct WebAddress {
    std::string url;       ///< as given, trimmed
    std::string identity;  ///< equal for two spellings of one address: scheme and host in lower
                           ///< case, no default port, "/" for an empty path
    std::string readable;  ///< for people: host and path without scheme, "www." and escapes
};

/// None for anything but an absolute http or https address with a host and no white space or
/// control characters. Any thread.
std::optional<WebAddress> parseWebAddress(std::string_view text);

}  // namespace nookery
