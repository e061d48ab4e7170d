#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "collection/safety/JournaledSwap.h"
#include "foundation/FileSystem.h"

namespace nookery {

/// What one kind of restore calls its own in the library folder.
struct RestoreNames {
    std::string_view pending;          ///< a folder; ends in "Restore-Pending", whatever the kind
    std::string_view preparingPrefix;  ///< begins a pending folder's name while it is being filled
    std::string_view finishedPrefix;   ///< and once it has served its purpose
    std::string_view journal;          ///< a file in the pending folder: the restore was begun
};

/// Where one kind of restore takes place. All of it lies on one file system.
struct RestoreFolders {
    RestoreNames names;
    Path library;
    Path root;                  ///< above everything that is moved; paths in the journal begin here
    std::string libraryPrefix;  ///< from the root to what the library folder holds: "Crumb/", or ""
    Path safety;                ///< below the root: the safety folder, or the folder of all of them

    Path pending() const { return library / names.pending; }
    Path journal() const { return pending() / names.journal; }
};

/// Whether a prepared or interrupted restore of this kind waits.
bool restoreWaits(FileSystem& files, const RestoreFolders& folders);
/// Whether one was begun and is not over: the library may be between two states.
bool restoreIsUnderWay(FileSystem& files, const RestoreFolders& folders);
/// Throws RestoreError when a restore of any kind waits in the library folder, or FileError.
void refuseWhileRestoreWaits(FileSystem& files, const Path& library);

/// Makes a pending folder: `fill` creates the folder at the path that it is given and leaves in it,
/// durably, what will be restored. Throws RestoreError when a restore of any kind waits, FileError,
/// and what `fill` throws; then nothing waits, and nothing is left behind.
void prepareRestore(FileSystem& files, const RestoreFolders& folders,
                    const std::function<void(const Path& preparing)>& fill);

/// The restore is over: its pending folder goes, and with it the journal, at once. What is left is
/// only rubbish, for `clearRestoreLeftovers`. Throws FileError; the folder is then as it was.
void retirePending(FileSystem& files, const RestoreFolders& folders);

/// Whether there is something for `clearRestoreLeftovers`. Throws FileError.
bool restoreLeftoversExist(FileSystem& files, const RestoreFolders& folders);
/// Removes what preparations and restores left that ended before they could clear up. What cannot
/// be removed waits for the next time.
void clearRestoreLeftovers(FileSystem& files, const RestoreFolders& folders);

/// The safety folder that the journal names.
Path safetyFolderOf(const JournaledSwap& swap, const RestoreFolders& folders);
/// Removes what an interrupted write left in the folder, if there is one. Throws FileError.
void removeUnfinishedWrites(FileSystem& files, const Path& folder);
/// Removes a safety folder whose things are all back. Only what is surely nobody's is removed:
/// throws FileError when anything else is there.
void removeEmptiedSafety(FileSystem& files, const Path& safety);

}  // namespace nookery
