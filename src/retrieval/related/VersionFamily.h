#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/FileSystem.h"

namespace nookery {

/// The key that the names of successive versions of one file share: the stem in lower case, without
/// version markers ("final", "draft3", "v2", "(2)", a trailing number) and reduced to a-z and 0-9.
/// None when fewer than 3 characters are left. Any thread.
std::optional<std::string> versionFamilyKey(const Path& file);

/// The key with the extension in lower case: equal for two files exactly when they are versions of
/// each other. Any thread.
std::optional<std::string> versionFamily(const Path& file);

/// The words of a file's name in lower case, without single characters and without version markers
/// that are words of their own. Any thread.
std::vector<std::string> versionFreeWords(const Path& file);

}  // namespace nookery
