#pragma once

#include <optional>
#include <set>

#include "foundation/FileSystem.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Where the managed original lies that a stored path means, in the one spelling that paths are
/// compared in: below the layout's `Items`, without detours. None for a path that leads elsewhere,
/// to `Items` itself, that is not absolute, or that the system would read only a part of. Rows may
/// come from a damaged, restored or hand-edited database, so whoever moves, removes or compares
/// originals asks here first. Does not look at the disk.
std::optional<Path> managedOriginal(const LibraryLayout& layout, const Path& stored);

/// The managed originals of the memories.
std::set<Path> managedOriginals(const LibraryLayout& layout, const CrumbItemList& items);

/// Whether one of the `used` originals is this one, holds it, or lies in it.
bool isAmong(const std::set<Path>& used, const Path& managed, const LibraryLayout& layout);

/// Whether the original really lies below `Items`, not behind a link in it. Throws FileError.
bool liesInItems(FileSystem& files, const LibraryLayout& layout, const Path& managed);

}  // namespace nookery
