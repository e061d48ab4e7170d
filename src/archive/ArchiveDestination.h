#pragma once

#include "foundation/FileSystem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// The destination of a new archive, as a path without links or relative parts. Changes nothing.
/// Throws ArchiveError for a place inside live storage, however it is spelled. Throws FileError for
/// an existing place that is not an empty folder, for one whose parent does not exist, and for an
/// empty folder that is a mount point, since nothing can be moved onto it.
Path checkedArchiveDestination(FileSystem& files, const LibraryLayout& layout,
                               const Path& destination);

}  // namespace nookery
