#pragma once

#include <string>

#include "records/CrumbItem.h"

namespace nookery {

/// A memory as the phone sees it, as one JSON object.
std::string phoneMemoryJson(const CrumbItem& item, bool hasAttachment);

}  // namespace nookery
