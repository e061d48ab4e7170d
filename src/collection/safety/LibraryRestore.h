#pragma once

#include <optional>
#include <string>

#include "collection/safety/RestoreFolders.h"
#include "collection/safety/RestoreMoves.h"
#include "platform/Platform.h"

namespace nookery {

/// What a finished or abandoned restore tells the user.
struct RestoreNotice {
    bool restored = false;
    std::string title;
    std::string detail;  ///< names the safety copy, or the failure
};

/// What restores of one kind, of a snapshot or of an archive, do in their own way. The steps throw
/// Error when they fail. Any of them may run again after an interruption.
class RestoreSteps {
  public:
    virtual ~RestoreSteps() = default;

    virtual RestoreFolders folders() const = 0;
    virtual StagedLibrary staged() const = 0;
    /// Whether a restore that failed goes on waiting for the next start.
    virtual bool waitsAfterFailure() const = 0;

    /// The safety folder, below the root, that what was live will go to. Nothing is there yet.
    virtual std::string chooseSafety() const = 0;
    /// Makes what waits fit to become the library; changes nothing outside the pending folder.
    virtual void makeReady() = 0;
    /// Makes the settings say what came in with the library.
    virtual void applySettings() = 0;

    /// "Complete archive", as the log calls what was restored.
    virtual std::string nameInLog() const = 0;
    virtual std::string restoredDetail(const Path& safety) const = 0;
    virtual std::string failedDetail(const std::string& cause) const = 0;
};

/// Completes a restore that waits or was interrupted; none when there is none. Called while no
/// connection to the library is open, by whoever holds its lock.
///
/// What waits takes the place of what is live, move by move under a journal, and what was live
/// becomes the safety copy, with the settings of then. An interrupted restore goes on where it
/// stopped. A failure undoes what was done, is logged and told in the notice. An undoing that was
/// interrupted is brought to its end, and the restore is tried again. So the library is the old
/// one or the new one, whole, whenever this returns.
///
/// Throws Error when the library is left between two states, as on a disk that fails, or when a
/// restore that was given up cannot be put away: the library must not be opened then, and the next
/// start goes on.
std::optional<RestoreNotice> completeRestore(const Platform& platform, RestoreSteps& steps);

}  // namespace nookery
