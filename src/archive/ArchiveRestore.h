#pragma once

#include <optional>
#include <vector>

#include "archive/ArchiveProgress.h"
#include "collection/safety/SnapshotRestore.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Restoring a complete archive, in two steps. While the program runs, the archive is checked and
/// copied into a pending folder in the library folder. At the next start, before any database is
/// opened, stored paths are rewritten to where the originals now belong, the copy takes the place
/// of what is live by a journaled swap, and what was live becomes the safety copy. The archive
/// itself is never changed. Receipts stay as they are when the archive holds none. The caller
/// holds the library's lock throughout.

/// Copies the archive's listed files into the pending folder, checking each while it is copied, so
/// that what was checked is what will be installed. Throws RestoreError for an archive that fails
/// its check or when a restore already waits, FileError, or Cancelled; then nothing waits, and
/// nothing is left behind.
ArchiveSummary prepareArchiveRestore(const Platform& platform, const LibraryLayout& layout,
                                     const Path& archiveFolder, const OperationControl& control);

/// Throws RestoreError when a restore already waits, of an archive or of a snapshot.
void refuseWhileRestoreWaits(FileSystem& files, const LibraryLayout& layout);

/// Whether a prepared or interrupted restore waits.
bool archiveRestoreWaits(FileSystem& files, const LibraryLayout& layout);

/// Completes a restore that waits or was interrupted; none when there is none. On failure what was
/// done is undone, logged and told in the notice, and the pending folder stays for the next start.
/// Throws Error when the library is left between two states, as on a disk that fails: it must not
/// be opened then, and the next start goes on.
std::optional<RestoreNotice> completePendingArchiveRestore(const Platform& platform,
                                                           const LibraryLayout& layout);

}  // namespace nookery
