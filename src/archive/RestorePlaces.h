#pragma once

#include <string_view>

#include "collection/safety/RestoreFolders.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Names of the folders and files that the restore of an archive uses.
namespace restore {
inline constexpr std::string_view pendingName = ".NOOKERY-Restore-Pending";
inline constexpr std::string_view preparingPrefix = ".NOOKERY-Restore-Preparing-";
inline constexpr std::string_view finishedPrefix = ".NOOKERY-Restore-Finished-";
inline constexpr std::string_view safetyName = "NOOKERY-Pre-Restore-Safety";
inline constexpr std::string_view journalName = "restore-journal.json";
inline constexpr std::string_view outcomeName = "last-restore.json";
}  // namespace restore

/// Where a library's restore takes place: the pending folder in the library folder, links resolved,
/// the safety folder beside it. What is moved between them must stay on one file system; where the
/// library folder is the top of its own, the safety folder lies in it. Throws FileError when the
/// library folder cannot be found.
RestoreFolders archiveRestoreFolders(FileSystem& files, const LibraryLayout& layout);

}  // namespace nookery
