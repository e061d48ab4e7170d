#pragma once

#include <memory>

#include "platform/ContentType.h"

namespace nookery {

/// Tells text apart by its own quick look and asks the system's file-type data base about the
/// rest. Throws Error when that data base is missing.
std::unique_ptr<ContentTypeDetector> makeContentTypeDetector();

}  // namespace nookery
