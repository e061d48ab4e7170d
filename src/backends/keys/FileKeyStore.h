#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/KeyStore.h"

namespace nookery {

/// Secrets in one file that only its owner can read, for computers without a Secret Service. The
/// file is a JSON object of service → account → base64, replaced durably. A missing file is an
/// empty store. A missing folder, or a file that cannot be read, makes the store unavailable.
std::unique_ptr<KeyStore> makeFileKeyStore(FileSystem& files, const Path& path);

}  // namespace nookery
