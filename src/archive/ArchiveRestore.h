#pragma once

#include <optional>

#include "archive/ArchiveProgress.h"
#include "collection/safety/LibraryRestore.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Restoring a complete archive, in two steps. While the program runs, the archive is checked and
/// copied into a pending folder in the library folder. At the next start, before any database is
/// opened, stored paths are rewritten to where the originals now belong, and the copy takes the
/// place of what is live (LibraryRestore.h). The archive itself is never changed. The caller holds
/// the library's lock throughout.

/// Copies the archive's listed files into the pending folder, checking each while it is copied, so
/// that what was checked is what will be installed. Throws RestoreError for an archive that fails
/// its check or when a restore already waits, FileError, or Cancelled; then nothing waits, and
/// nothing is left behind.
ArchiveSummary prepareArchiveRestore(const Platform& platform, const LibraryLayout& layout,
                                     const Path& archiveFolder, const OperationControl& control);

/// Whether a prepared or interrupted restore waits.
bool archiveRestoreWaits(FileSystem& files, const LibraryLayout& layout);

/// Completes a restore of an archive, as `completeRestore` does. One that failed goes on waiting
/// for the next start.
std::optional<RestoreNotice> completePendingArchiveRestore(const Platform& platform,
                                                           const LibraryLayout& layout);

}  // namespace nookery
