#include "collection/safety/RestoreFolders.h"

#include <vector>

#include "collection/safety/RestoreError.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "foundation/Uuid.h"

namespace nookery {
namespace {

constexpr std::string_view pendingPrefix = ".NOOKERY-";
constexpr std::string_view pendingSuffix = "Restore-Pending";

/// For what is hidden and nobody's: it costs room and nothing else, and the next start tries again.
void quietly(const std::function<void()>& clear) {
    try {
        clear();
    } catch (const Error&) {
    }
}

/// Renames a folder within its own; when that cannot be made durable it is as if nothing happened.
void renameOrStay(FileSystem& files, const Path& from, const Path& to) {
    files.renameExclusive(from, to);
    try {
        files.syncDirectory(from.parent_path());
    } catch (const FileError&) {
        files.renameExclusive(to, from);
        throw;
    }
}

Path freshPath(const RestoreFolders& folders, std::string_view prefix) {
    return folders.library / (std::string(prefix) + Uuid::random().toString());
}

std::vector<Path> leftovers(FileSystem& files, const RestoreFolders& folders) {
    std::vector<Path> found;
    if (!files.statusFollowingLinks(folders.library)) return found;
    for (const DirectoryEntry& entry : files.list(folders.library)) {
        const std::string& name = entry.name.native();
        if (name.starts_with(folders.names.preparingPrefix) ||
            name.starts_with(folders.names.finishedPrefix)) {
            found.push_back(folders.library / entry.name);
        }
    }
    return found;
}

/// A restore that was undone and given up leaves its emptied safety folder to whoever clears up;
/// the journal that knows of it goes last.
void clearLeftover(FileSystem& files, const RestoreFolders& folders, const Path& leftover) {
    const Path journal = leftover / folders.names.journal;
    const auto swap = JournaledSwap::find(files, folders.root, journal);
    if (swap && swap->isBeingUndone()) {
        for (const DirectoryEntry& entry : files.list(leftover)) {
            if (entry.name != journal.filename()) removeTree(files, leftover / entry.name);
        }
        removeEmptiedSafety(files, safetyFolderOf(*swap, folders));
    }
    removeTree(files, leftover);
}

}  // namespace

bool restoreWaits(FileSystem& files, const RestoreFolders& folders) {
    return files.status(folders.pending()).has_value();
}

bool restoreIsUnderWay(FileSystem& files, const RestoreFolders& folders) {
    return files.status(folders.journal()).has_value();
}

void refuseWhileRestoreWaits(FileSystem& files, const Path& library) {
    if (!files.statusFollowingLinks(library)) return;
    for (const DirectoryEntry& entry : files.list(library)) {
        const std::string& name = entry.name.native();
        if (!name.starts_with(pendingPrefix) || !name.ends_with(pendingSuffix)) continue;
        throw RestoreError("A restore is already pending. Reopen NOOKERY to complete it.");
    }
}

void prepareRestore(FileSystem& files, const RestoreFolders& folders,
                    const std::function<void(const Path& preparing)>& fill) {
    refuseWhileRestoreWaits(files, folders.library);
    clearRestoreLeftovers(files, folders);
    const Path preparing = freshPath(folders, folders.names.preparingPrefix);
    try {
        fill(preparing);
        renameOrStay(files, preparing, folders.pending());
    } catch (const std::exception&) {
        quietly([&] { removeTree(files, preparing); });
        throw;
    }
}

void retirePending(FileSystem& files, const RestoreFolders& folders) {
    renameOrStay(files, folders.pending(), freshPath(folders, folders.names.finishedPrefix));
}

bool restoreLeftoversExist(FileSystem& files, const RestoreFolders& folders) {
    return !leftovers(files, folders).empty();
}

void clearRestoreLeftovers(FileSystem& files, const RestoreFolders& folders) {
    quietly([&] {
        for (const Path& leftover : leftovers(files, folders)) {
            quietly([&] { clearLeftover(files, folders, leftover); });
        }
    });
}

Path safetyFolderOf(const JournaledSwap& swap, const RestoreFolders& folders) {
    // The first thing that moves lies at the top of the library, and so of the safety folder.
    return folders.root / Path(swap.moves().front().safety).parent_path();
}

void removeUnfinishedWrites(FileSystem& files, const Path& folder) {
    if (!files.status(folder)) return;
    for (const DirectoryEntry& entry : files.list(folder)) {
        if (entry.name.native().starts_with(temporaryPrefix)) files.removeFile(folder / entry.name);
    }
}

void removeEmptiedSafety(FileSystem& files, const Path& safety) {
    if (!files.status(safety)) return;
    const Path receipts = safety / Path(snapshot::receiptsDatabaseName).parent_path();
    if (files.status(receipts)) files.removeDirectory(receipts);
    removeUnfinishedWrites(files, safety);
    removeTree(files, safety / snapshot::stateName);
    files.removeDirectory(safety);
    files.syncDirectory(safety.parent_path());
}

}  // namespace nookery
