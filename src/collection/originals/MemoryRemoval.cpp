#include "collection/originals/MemoryRemoval.h"

#include <fmt/format.h>

#include <utility>

#include "collection/originals/ManagedOriginal.h"
#include "platform/KeyStore.h"
#include "platform/KeyStoreServices.h"
#include "platform/Log.h"
#include "platform/Problem.h"
#include "platform/Trash.h"
#include "platform/work/WorkQueue.h"

namespace nookery {
namespace {

std::optional<Path> dispose(const Path& original, OriginalDisposal disposal,
                            const Platform& platform) {
    if (!platform.files.status(original)) return std::nullopt;
    if (disposal == OriginalDisposal::moveToTrash) return platform.trash.moveToTrash(original);
    removeTree(platform.files, original);  // an activity's original is a folder
    return std::nullopt;
}

}  // namespace

std::vector<Path> originalsUsedOnlyBy(const CrumbItemList& all,
                                      const std::unordered_set<Uuid>& removed,
                                      const LibraryLayout& layout, FileSystem& files) {
    CrumbItemList keptItems;
    CrumbItemList goingItems;
    for (const auto& item : all) {
        (removed.contains(item->id) ? goingItems : keptItems).push_back(item);
    }
    const auto kept = managedOriginals(layout, keptItems);
    std::vector<Path> originals;
    for (const Path& place : managedOriginals(layout, goingItems)) {
        const bool goesWithIt = !isAmong(kept, place, layout) && liesInItems(files, layout, place);
        if (goesWithIt) originals.push_back(place);
    }
    return originals;
}

std::optional<Path> disposeOfOriginal(const Path& original, OriginalDisposal disposal,
                                      const Platform& platform) {
    try {
        return dispose(original, disposal, platform);
    } catch (const Error& error) {
        platform.log.line("NOOKERY original cleanup error: " + error.description());
        platform.log.report({{ProblemKind::removal, original, {}},
                             error.description(),
                             "It is tried again when the library is opened next."});
        return std::nullopt;
    }
}

std::vector<Path> originalsThatAreGone(const std::vector<Path>& originals,
                                       const Platform& platform) {
    std::vector<Path> gone;
    for (const Path& original : originals) {
        try {
            if (!platform.files.status(original)) gone.push_back(original);
        } catch (const Error& error) {
            platform.log.line("NOOKERY original cleanup error: " + error.description());
        }
    }
    return gone;
}

void removeSecureValues(const std::unordered_set<Uuid>& removed, bool someAreSecure,
                        const Platform& platform) {
    std::vector<std::string> accounts;
    for (const Uuid& id : removed) accounts.push_back(id.toString());
    const ProblemSubject subject{.kind = ProblemKind::removal};
    try {
        platform.keyStore.remove(KeyStoreServices(platform.applicationIdentifier).secureValues(),
                                 accounts);
        if (someAreSecure) platform.log.mended(subject);
    } catch (const KeyStoreUnavailable& error) {
        if (!someAreSecure) return;
        platform.log.line("NOOKERY secure value removal error: " + error.description());
        platform.log.report({subject,
                             "The protected value of a removed memory may still be in " +
                                 platform.keyStore.place() + ": " + error.description(),
                             error.advice()});
    }
}

void removeThumbnails(const std::unordered_set<Uuid>& ids, const LibraryLayout& layout,
                      const Platform& platform) {
    try {
        if (!platform.files.status(layout.thumbnails())) return;
        for (const DirectoryEntry& entry : platform.files.list(layout.thumbnails())) {
            // Thumbnails are named by their memory's id, then what they show.
            const auto id = Uuid::parse(entry.name.native().substr(0, 36));
            if (id && ids.contains(*id))
                removeTree(platform.files, layout.thumbnails() / entry.name);
        }
    } catch (const Error& error) {
        platform.log.line("NOOKERY thumbnail cleanup error: " + error.description());
    }
}

void removeThumbnailsLater(std::unordered_set<Uuid> ids, const LibraryLayout& layout,
                           const Platform& platform) {
    if (ids.empty()) return;
    platform.filesQueue.async(
        [ids = std::move(ids), layout, platform] { removeThumbnails(ids, layout, platform); });
}

}  // namespace nookery
