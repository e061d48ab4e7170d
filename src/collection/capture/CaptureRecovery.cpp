#include "collection/capture/CaptureRecovery.h"

#include <algorithm>
#include <unordered_set>

#include "collection/capture/CaptureWork.h"
#include "collection/database/Sidecar.h"
#include "collection/originals/ManagedOriginal.h"
#include "collection/originals/OriginalsToTrash.h"
#include "platform/Log.h"

namespace nookery {
namespace {

std::unordered_set<std::string> originalNames(const CrumbItemList& items) {
    std::unordered_set<std::string> names;
    for (const auto& item : items) {
        if (item->filePath) names.insert(Path(*item->filePath).filename().native());
    }
    return names;
}

/// Whether the file is the one that the capture put there, rather than another program's.
bool isAsNoted(const FileStatus& status, const OriginalFact& fact) {
    return status.type == FileType::regular && status.byteCount == fact.byteCount &&
           status.modifiedNanoseconds == fact.modifiedNanoseconds;
}

void removeIfAsNoted(FileSystem& files, const LibraryLayout& layout, const OriginalFact& fact) {
    const Path place = layout.library() / fact.relativePath;
    if (managedOriginal(layout, place) != place || !liesInItems(files, layout, place)) return;
    const auto status = files.status(place);
    if (!status || !isAsNoted(*status, fact)) return;
    files.removeFile(place);
    files.syncDirectory(place.parent_path());
}

/// Removes the folders that hold nothing any more.
void removeEmptyFolders(FileSystem& files, const Path& folder) {
    for (const DirectoryEntry& entry : files.list(folder)) {
        if (entry.type == FileType::directory) removeEmptyFolders(files, folder / entry.name);
    }
    if (files.list(folder).empty()) files.removeDirectory(folder);
}

/// Of a file or folder whose commit was never reached.
void removeRemains(FileSystem& files, Sidecar& sidecar, const LibraryLayout& layout,
                   const Path& relativePath) {
    std::vector<Path> forgotten;
    for (const OriginalFact& fact : sidecar.originalsAt(relativePath)) {
        removeIfAsNoted(files, layout, fact);
        forgotten.push_back(fact.relativePath);
    }
    const auto place = managedOriginal(layout, layout.library() / relativePath);
    const auto status = place ? files.status(*place) : std::nullopt;
    if (status && status->type == FileType::directory && !forgotten.empty()) {
        removeEmptyFolders(files, *place);
    }
    sidecar.forgetOriginals(forgotten);
}

}  // namespace

void removeInterruptedCaptures(const Platform& platform, const LibraryLayout& layout,
                               Sidecar& sidecar, const std::function<CrumbItemList()>& readAll) {
    try {
        removeTree(platform.files, incomingFolder(layout));
        finishInterruptedRemovals(platform, layout, sidecar, readAll);
        auto pending = sidecar.pendingOriginals();
        const auto waiting = OriginalsToTrash(sidecar).all();
        std::erase_if(pending, [&](const Path& each) {
            return std::find(waiting.begin(), waiting.end(), each) != waiting.end();
        });
        if (pending.empty()) return;
        const auto kept = originalNames(readAll());
        for (const Path& relativePath : pending) {
            if (kept.contains(relativePath.filename().native())) continue;
            removeRemains(platform.files, sidecar, layout, relativePath);
        }
        sidecar.removePendingOriginals(pending);
    } catch (const Error& error) {
        platform.log.line("NOOKERY capture recovery error: " + error.description());
    }
}

}  // namespace nookery
