#pragma once

#include <map>
#include <string>

#include "foundation/FileSystem.h"

namespace nookery {

/// The defaults.json of earlier versions: key -> bytes; docs/formats/defaults.md describes it.
/// Empty when it is not there. Throws FileError, or DefaultsError naming the file when it is
/// damaged or of a later version. Changes nothing.
std::map<std::string, std::string, std::less<>> readDefaultsJson(FileSystem& files,
                                                                 const Path& path);

}  // namespace nookery
