#include "archive/RestoreAtStart.h"

#include "archive/ArchiveRestore.h"
#include "archive/RestorePlaces.h"
#include "collection/database/LibraryLock.h"
#include "foundation/DurableFile.h"
#include "foundation/Json.h"
#include "platform/Clock.h"
#include "platform/Log.h"

namespace nookery {
namespace {

constexpr const char* noticeLog = "NOOKERY startup notice: ";
constexpr std::size_t maximumOutcomeByteCount = 1 << 20;

bool somethingIsToDo(FileSystem& files, const LibraryLayout& layout) {
    return archiveRestoreWaits(files, layout) || snapshotRestoreWaits(files, layout) ||
           !restoreLeftovers(files, layout).empty();
}

bool wasInterrupted(FileSystem& files, const LibraryLayout& layout) {
    return archiveRestoreWaits(files, layout) &&
           files.status(RestorePlaces::find(files, layout).journal()).has_value();
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
    if (!somethingIsToDo(platform.files, layout)) return notices;
    std::optional<LibraryLock> lock;
    try {
        lock = LibraryLock::acquire(platform.files, layout, platform.clock.now());
    } catch (const LibraryInUse&) {
        if (wasInterrupted(platform.files, layout)) throw;
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
    const Path safety = RestorePlaces::find(files, layout).safety();
    return files.status(safety) ? std::optional(safety) : std::nullopt;
}

}  // namespace nookery
