#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "foundation/Error.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// A snapshot that is not fit to be restored, or a restore that cannot go on.
class RestoreError : public Error {
  public:
    using Error::Error;
};

/// What a finished or abandoned restore tells the user.
struct RestoreNotice {
    bool restored = false;
    std::string title;
    std::string detail;  ///< names the safety copy, or the failure
};

/// Restoring a recovery snapshot, in two steps: the snapshot is checked and copied into a pending
/// folder in the library folder; then, while no connection to the library is open, the copy takes
/// the place of what is live, and that becomes a safety copy. The snapshot itself is never changed,
/// moved or linked. Receipts stay as they are when the snapshot holds none. The caller holds the
/// library's lock throughout.
///
/// `prepareSnapshotRestore` throws RestoreError for a snapshot that fails its check or when a
/// restore already waits, FileError, or Cancelled; the library is then as it was, and nothing
/// waits.
using RestoreProgress = std::function<void(std::size_t filesDone, std::size_t fileCount)>;
void prepareSnapshotRestore(const Platform& platform, const LibraryLayout& layout,
                            const std::string& snapshotName, const RestoreProgress& progress,
                            std::stop_token stop);

/// Whether a prepared or interrupted restore waits.
bool snapshotRestoreWaits(FileSystem& files, const LibraryLayout& layout);

/// Completes a restore that waits or was interrupted; none when there is none. Called at every
/// start before any database is opened. A failure undoes what was done, is logged and told in the
/// notice. Throws RestoreError when the library is left between two states, as on a disk that
/// fails: it must not be opened then, and the next start goes on with the undoing.
std::optional<RestoreNotice> completePendingSnapshotRestore(const Platform& platform,
                                                            const LibraryLayout& layout);

}  // namespace nookery
