#pragma once

#include <optional>
#include <string>

#include "collection/safety/LibraryRestore.h"
#include "collection/safety/RestoreError.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Restoring a recovery snapshot, in two steps: the snapshot is checked and copied into a pending
/// folder in the library folder; then the copy takes the place of what is live (LibraryRestore.h).
/// The snapshot itself is never changed, moved or linked. The caller holds the library's lock
/// throughout.

RestoreFolders snapshotRestoreFolders(const LibraryLayout& layout);

/// Throws RestoreError for a snapshot that fails its check or when a restore already waits,
/// FileError, or Cancelled; the library is then as it was, and nothing waits.
void prepareSnapshotRestore(const Platform& platform, const LibraryLayout& layout,
                            const std::string& snapshotName, const OperationControl& control);

/// Completes a restore of a snapshot, as `completeRestore` does. One that failed is given up: its
/// copy goes, and the snapshot is still there.
std::optional<RestoreNotice> completePendingSnapshotRestore(const Platform& platform,
                                                            const LibraryLayout& layout);

/// Both steps, while nobody has the library open. It can be stopped until the second begins. Fails
/// with RestoreError when the restore did not take place; the library is as it was then. Main
/// thread.
OperationPointer<RestoreNotice> beginSnapshotRestore(const Platform& platform,
                                                     const LibraryLayout& layout,
                                                     const std::string& snapshotName);

}  // namespace nookery
