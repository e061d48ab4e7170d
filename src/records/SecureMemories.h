#pragma once

#include <functional>
#include <unordered_set>

#include "records/CrumbItem.h"

namespace nookery {

/// Null when there is no such memory.
using FindMemory = std::function<CrumbItemPointer(const Uuid&)>;
/// Looks memories up in this list. It holds on to the memories, not to the list.
FindMemory finderIn(const CrumbItemList& all);

/// Whether a memory must never leave this computer: it is secure, or it was derived from a secure
/// one, directly or over others, and may show its value.
bool isLocalOnly(const CrumbItem& item, const FindMemory& find);

/// The memories that are local-only just because they were derived from one of `removed`: changed
/// so that they are secure themselves, and stay on this computer once those are gone.
CrumbItemList derivedFromSecure(const CrumbItemList& all, const std::unordered_set<Uuid>& removed);

}  // namespace nookery
