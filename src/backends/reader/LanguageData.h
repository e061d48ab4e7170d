#pragma once

#include <optional>

#include "foundation/FileSystem.h"

namespace nookery {

/// The folder that holds the English data for recognising text; none when it is not installed.
std::optional<Path> findLanguageData(FileSystem& files);

}  // namespace nookery
