#pragma once

#include <optional>
#include <string_view>

#include "platform/ContentType.h"

namespace nookery {

/// The type of a file that begins with `head`, when it is a container that many formats share:
/// office documents and e-books in zip, office documents with a password, images of the HEIF
/// family; also RTF, and PDF behind other bytes. None for everything else. Pure, any thread.
std::optional<ContentType> packedTypeOf(std::string_view head, const Path& name);

}  // namespace nookery
