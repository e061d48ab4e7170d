#pragma once

#include "foundation/FileSystem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Where a new archive is to lie, as a path without links or relative parts. Refuses a place inside
/// live storage, however it is spelled (ArchiveError), one that exists and is not an empty folder,
/// one whose parent does not exist, and an empty folder that is the top of a file system of its
/// own, which nothing can be moved onto (FileError). Changes nothing.
Path checkedArchiveDestination(FileSystem& files, const LibraryLayout& layout,
                               const Path& destination);

}  // namespace nookery
