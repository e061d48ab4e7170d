#pragma once

#include <optional>
#include <string_view>

#include "platform/ContentType.h"

namespace nookery {

/// The type of a file that begins with `head`, when that is a web page, a vector image, mail, or
/// text in UTF-8, or in UTF-16 or UTF-32 with a byte order mark. The name tells plain texts apart.
/// None for everything else. Pure, any thread.
std::optional<ContentType> textTypeOf(std::string_view head, const Path& name);

/// The type of plain text, in whatever encoding, by the file's name.
ContentType plainTextTypeByName(const Path& name);

/// The name's extension in lower case, with its dot; empty when it has none.
std::string lowerCaseExtension(const Path& name);

}  // namespace nookery
