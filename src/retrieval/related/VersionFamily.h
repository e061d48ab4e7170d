#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

/// What the names of successive versions of one file have in common: the stem in lower case
/// without version markers ("final", "draft3", "v2", "(2)", a trailing number) and without
/// anything but a-z and 0-9. None when fewer than 3 characters are left. Any thread.
std::optional<std::string> versionFamilyKey(const Path& file);

/// Equal for two files exactly when they are versions of each other: the key and the extension in
/// lower case.
std::optional<std::string> versionFamily(const Path& file);

/// The words of a file's name without version markers that stand as words of their own and without
/// single characters, in lower case.
std::vector<std::string> versionFreeWords(const Path& file);

}  // namespace nookery
