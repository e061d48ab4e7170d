#pragma once

#include <optional>
#include <string_view>

#include "platform/ContentType.h"

namespace nookery {

/// The type of a file that begins with `head` when it is a container whose mark many formats share
/// and whose beginning tells which it is: office documents and e-books in zip, office documents
/// behind a password, images of the HEIF family, PDF behind other bytes. None for everything else.
/// Pure, any thread.
std::optional<ContentType> packedTypeOf(std::string_view head, const Path& name);

}  // namespace nookery
