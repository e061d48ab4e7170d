#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// User defaults in one durable JSON file (key → base64 of the bytes), read once at opening.
/// A missing file is an empty store; an unreadable or malformed one throws Error naming it.
std::unique_ptr<UserDefaults> openDefaultsFile(FileSystem& files, const Path& path);

}  // namespace nookery
