#pragma once

#include <memory>

#include "platform/ContentType.h"

namespace nookery {

/// Recognises text and packed formats by itself and asks libmagic about the rest. Throws Error when
/// libmagic's database is missing.
std::unique_ptr<ContentTypeDetector> makeContentTypeDetector();

}  // namespace nookery
