#include "collection/inbox/CloudInboxWatcher.h"

#include "platform/CloudContainer.h"
#include "platform/CloudPaths.h"
#include "platform/Log.h"

namespace nookery {
namespace {

constexpr const char* inboxBelowContainer = "Documents/Inbox";

}  // namespace

Path cloudInboxFolder(const Path& container) { return container / inboxBelowContainer; }

Path usableCloudInbox(FileSystem& files, const Path& container) {
    return sharedFolder(files, container, inboxBelowContainer);
}

CloudInboxWatcher::CloudInboxWatcher(const Platform& platform, InboxHandler handler,
                                     const InboxDelays& delays)
    : InboxFolderWatcher(platform, delays, std::move(handler),
                         "Crumb cloud Inbox cleanup error for ") {}

std::optional<Path> CloudInboxWatcher::openInbox() {
    std::optional<Path> container;
    try {
        container = platform().cloud.locate().container;
        if (!container) return std::nullopt;
        usableCloudInbox(platform().files, *container);
        // Never the container itself: where a drive is not mounted, nothing may be made.
        platform().files.createDirectory(*container / "Documents");
        platform().files.createDirectory(cloudInboxFolder(*container));
    } catch (const Error& error) {
        failOnce(container ? cloudInboxFolder(*container) : Path(),
                 "NOOKERY cloud Inbox create error: " + error.description(), error);
        return std::nullopt;
    }
    try {
        watchFolder(cloudInboxFolder(*container));
    } catch (const FileError&) {
        // Looking again from time to time does without events.
    }
    wentWell(cloudInboxFolder(*container));
    wentWell(Path());
    return cloudInboxFolder(*container);
}

std::optional<Path> CloudInboxWatcher::findInbox() const {
    const auto container = platform().cloud.locate().container;
    if (!container) return std::nullopt;
    const Path inbox = usableCloudInbox(platform().files, *container);
    return platform().files.statusFollowingLinks(inbox) ? std::optional(inbox) : std::nullopt;
}

/// What was a folder when it was opened may be a link by now.
void CloudInboxWatcher::demandUsable(const Path& inbox) const {
    usableCloudInbox(platform().files, inbox.parent_path().parent_path());
}

void CloudInboxWatcher::reportWaiting(const std::vector<InboxWaiting>& waiting) {
    std::erase_if(requested_, [this](const Path& file) {
        return platform().cloud.presence(file) != CloudPresence::placeholder;
    });
    for (const InboxWaiting& entry : waiting) {
        const auto name = platform().cloud.nameBehindPlaceholder(entry.path.filename());
        if (!name) continue;
        requestDownload(entry.path.parent_path() / *name,
                        "NOOKERY iCloud download request error for ");
    }
}

void CloudInboxWatcher::reportMissing(const Path& file) {
    requestDownload(file, "NOOKERY iCloud package download request error for ");
}

void CloudInboxWatcher::requestDownload(const Path& file, std::string_view logPrefix) {
    if (!requested_.insert(file).second) return;
    try {
        platform().cloud.requestDownload(file);
    } catch (const Error& error) {
        platform().log.line(std::string(logPrefix) + displayName(file.filename()) + ": " +
                            error.description());
    }
}

}  // namespace nookery
