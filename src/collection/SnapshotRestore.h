#pragma once

#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "collection/LibraryLayout.h"
#include "foundation/Error.h"
#include "platform/Platform.h"

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
/// folder beside nothing that is in use; then, while no connection to the library is open, the
/// copy takes the library's place and what was there becomes the safety copy. The snapshot itself
/// is never changed. The caller holds the library's lock.
///
/// `prepare` throws RestoreError for a snapshot that fails its check or when a restore already
/// waits, FileError, or Cancelled; the library is then as it was, and nothing waits.
void prepareSnapshotRestore(
    const Platform& platform, const LibraryLayout& layout, const std::string& snapshotName,
    const std::function<void(std::size_t done, std::size_t total)>& progress, std::stop_token stop);

/// Whether a prepared or half-done restore waits.
bool snapshotRestoreWaits(FileSystem& files, const LibraryLayout& layout);

/// Completes a waiting restore, or one that was interrupted; none when there is none. Called at
/// every start before any database is opened. Never throws Error: a failure undoes what was done,
/// is logged and told in the notice, and the prepared copy stays for the next start.
std::optional<RestoreNotice> completePendingSnapshotRestore(const Platform& platform,
                                                            const LibraryLayout& layout);

}  // namespace nookery
