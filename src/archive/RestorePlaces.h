#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "foundation/FileSystem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Names of the folders that a restore uses.
namespace restore {
inline constexpr std::string_view pendingName = ".NOOKERY-Restore-Pending";
inline constexpr std::string_view preparingPrefix = ".NOOKERY-Restore-Preparing-";
/// A pending folder that has served its purpose, on its way to be removed.
inline constexpr std::string_view finishedPrefix = ".NOOKERY-Restore-Finished-";
inline constexpr std::string_view safetyName = "NOOKERY-Pre-Restore-Safety";
inline constexpr std::string_view journalName = "restore-journal.json";
inline constexpr std::string_view outcomeName = "last-restore.json";
}  // namespace restore

/// Where a library's restore takes place: the pending folder in the library folder, the safety
/// folder beside it. What is moved between them must stay on one file system; where the library
/// folder is the top of its own, the safety folder lies in it.
struct RestorePlaces {
    /// Throws FileError when the library folder cannot be found.
    static RestorePlaces find(FileSystem& files, const LibraryLayout& layout);

    Path root;                  ///< above everything that is moved
    std::string libraryPrefix;  ///< from there to what the library folder holds: "Crumb/", or ""
    Path library;               ///< links resolved

    Path pending() const { return library / restore::pendingName; }
    Path journal() const { return pending() / restore::journalName; }
    Path safety() const { return root / restore::safetyName; }
};

/// Hidden folders of restores that ended before they could clear up.
std::vector<Path> restoreLeftovers(FileSystem& files, const LibraryLayout& layout);
/// Removes them; what cannot be removed waits for the next time.
void sweepRestoreLeftovers(FileSystem& files, const LibraryLayout& layout);

}  // namespace nookery
