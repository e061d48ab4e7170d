#pragma once

#include "foundation/FileSystem.h"
#include "platform/ContentDigest.h"

namespace nookery {

/// The SHA-256 of a file's bytes. Throws FileError.
Sha256Digest digestOfFile(FileSystem& files, const ContentDigester& digester, const Path& path);

}  // namespace nookery
