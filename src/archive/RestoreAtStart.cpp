#include "archive/RestoreAtStart.h"

#include <algorithm>

#include "archive/ArchiveRestore.h"
#include "archive/RestorePlaces.h"
#include "collection/database/LibraryLock.h"
#include "collection/safety/SnapshotRestore.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"
#include "platform/Clock.h"
#include "platform/Log.h"

namespace nookery {
namespace {

constexpr const char* noticeLog = "NOOKERY startup notice: ";
constexpr std::size_t maximumOutcomeByteCount = 1 << 20;

/// Every kind of restore that may wait; none where there is no library.
std::vector<RestoreFolders> allRestoreFolders(FileSystem& files, const LibraryLayout& layout) {
    if (!files.statusFollowingLinks(layout.library())) return {};
    return {archiveRestoreFolders(files, layout), snapshotRestoreFolders(layout)};
}

void keepOutcome(const Platform& platform, const LibraryLayout& layout,
                 const RestoreNotice& notice) {
    try {
        writeDurably(platform.files, layout.library() / restore::outcomeName,
                     toPrettyJsonText(Json{{"version", 1},
                                           {"restored", notice.restored},
                                           {"title", notice.title},
                                           {"detail", notice.detail},
                                           {"date", toIso8601(platform.clock.now())}}));
    } catch (const FileError& error) {
        platform.log.line("NOOKERY restore note error: " + error.description());
    }
}

}  // namespace

std::vector<RestoreNotice> completeWaitingRestores(const Platform& platform,
                                                   const LibraryLayout& layout) {
    std::vector<RestoreNotice> notices;
    FileSystem& files = platform.files;
    const auto kinds = allRestoreFolders(files, layout);
    const bool somethingIsToDo = std::any_of(kinds.begin(), kinds.end(), [&](const auto& folders) {
        return restoreWaits(files, folders) || restoreLeftoversExist(files, folders);
    });
    if (!somethingIsToDo) return notices;
    std::optional<LibraryLock> lock;
    try {
        lock = LibraryLock::acquire(files, layout, platform.clock.now());
    } catch (const LibraryInUse&) {
        const bool oneIsUnderWay =
            std::any_of(kinds.begin(), kinds.end(),
                        [&](const auto& folders) { return restoreIsUnderWay(files, folders); });
        if (oneIsUnderWay) throw;
        return notices;
    }
    for (const auto complete : {&completePendingArchiveRestore, &completePendingSnapshotRestore}) {
        const auto notice = complete(platform, layout);
        if (!notice) continue;
        platform.log.line(noticeLog + notice->title + ": " + notice->detail);
        keepOutcome(platform, layout, *notice);
        notices.push_back(*notice);
    }
    return notices;
}

std::optional<PastRestore> lastRestore(FileSystem& files, const LibraryLayout& layout) {
    const Path place = layout.library() / restore::outcomeName;
    if (!files.status(place)) return std::nullopt;
    const Json object = readJsonFile(files, place, {.maximumByteCount = maximumOutcomeByteCount});
    const auto date = parseIso8601(requiredString(object, "date"));
    const auto restored = object.find("restored");
    if (!date || restored == object.end() || !restored->is_boolean()) {
        throw JsonError(displayName(place) + " cannot be understood.");
    }
    return PastRestore{
        {restored->get<bool>(), requiredString(object, "title"), requiredString(object, "detail")},
        *date};
}

std::optional<Path> safetyCopy(FileSystem& files, const LibraryLayout& layout) {
    if (!files.statusFollowingLinks(layout.library())) return std::nullopt;
    const RestoreFolders folders = archiveRestoreFolders(files, layout);
    const Path safety = folders.root / folders.safety;
    return files.status(safety) ? std::optional(safety) : std::nullopt;
}

}  // namespace nookery
