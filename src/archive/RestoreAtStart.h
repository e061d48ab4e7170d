#pragma once

#include <optional>
#include <vector>

#include "collection/safety/LibraryRestore.h"
#include "foundation/Timestamp.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// What every start of the program does before it opens the library: completes the restores, of an
/// archive or of a snapshot, that wait or were interrupted. Each outcome is logged as a start-up
/// notice, kept for `lastRestore`, and returned to be shown.
///
/// Takes the library's lock meanwhile. When another process holds it, a restore that only waits
/// goes on waiting; one that was interrupted throws LibraryInUse. Throws Error when the library
/// must not be opened.
std::vector<RestoreNotice> completeWaitingRestores(const Platform& platform,
                                                   const LibraryLayout& layout);

struct PastRestore {
    RestoreNotice notice;
    Timestamp date;
};

/// How the last restore of this library ended; none when there was none. Throws Error when the
/// note of it cannot be read.
std::optional<PastRestore> lastRestore(FileSystem& files, const LibraryLayout& layout);

/// The safety copy that a restore of an archive left behind, if it is still there.
std::optional<Path> safetyCopy(FileSystem& files, const LibraryLayout& layout);

}  // namespace nookery
