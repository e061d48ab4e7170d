#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/FileSystem.h"

namespace nookery {

/// What the names of successive versions of one file have in common: the stem in lower case
/// without version markers ("final", "draft3", "v2", "(2)", a trailing number) and without
/// anything but a-z and 0-9. None when fewer than 3 characters are left. Any thread.
std::optional<std::string> versionFamilyKey(const Path& file);

/// Equal for two files exactly when they are versions of each other: the key and the extension in
/// lower case.
std::optional<std::string> versionFamily(const Path& file);

}  // namespace nookery
