#pragma once

#include <string>
#include <string_view>

namespace nookery {

/// The readable text of a page inside another document, valid UTF-8: as of a page on its own, but
/// of any length up to `maximumByteCount`, and with every named and numbered entity decoded.
std::string htmlDocumentText(std::string_view html, std::size_t maximumByteCount);

}  // namespace nookery
