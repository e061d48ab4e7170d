#pragma once

#include <functional>
#include <unordered_set>

#include "records/CrumbItem.h"

namespace nookery {

/// Null when there is no such memory.
using FindMemory = std::function<CrumbItemPointer(const Uuid&)>;
/// Looks memories up in this list, and keeps what it needs of it.
FindMemory finderIn(const CrumbItemList& all);

/// Whether a memory must never leave this computer: it is secure, or was derived, however far, from
/// one that is, and so may show what that holds.
bool isLocalOnly(const CrumbItem& item, const FindMemory& find);

/// The memories that would be free to leave once `removed` are gone, as they were derived from one
/// of those: changed so that they are secure themselves.
CrumbItemList derivedFromSecure(const CrumbItemList& all, const std::unordered_set<Uuid>& removed);

}  // namespace nookery
