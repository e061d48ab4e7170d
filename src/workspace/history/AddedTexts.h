#pragma once

#include "platform/ContentDigest.h"
#include "platform/Platform.h"
#include "records/CrumbItem.h"

namespace nookery {

/// The digest of what a person wrote or may have changed of a memory: title, note and text. It
/// tells whether a memory is as it came in, and keeps no text. Any thread.
Sha256Digest digestOfTexts(const Platform& platform, const CrumbItem& item);

}  // namespace nookery
