#pragma once

#include <functional>

#include "collection/CrumbItem.h"

namespace nookery {

/// Null when there is no such memory.
using FindMemory = std::function<CrumbItemPointer(const Uuid&)>;

/// Whether a memory must never leave this computer: it is secure, or was derived, however far, from
/// one that is, and so may show what that holds.
bool neverLeaves(const CrumbItem& item, const FindMemory& find);

}  // namespace nookery
