#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// User defaults in one durable JSON file; docs/formats/defaults.md describes it. A missing file is
/// an empty store; an unreadable or malformed one throws Error naming it. Reading answers from what
/// was last read; a change is made to the file as it is by then, so that other programs' keys stay.
std::unique_ptr<UserDefaults> openDefaultsFile(FileSystem& files, const Path& path);

}  // namespace nookery
