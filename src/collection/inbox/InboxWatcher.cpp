#include "collection/inbox/InboxWatcher.h"

namespace nookery {

InboxWatcher::InboxWatcher(const Platform& platform, Path inboxURL, InboxHandler handler,
                           const InboxDelays& delays)
    : InboxFolderWatcher(platform, delays, std::move(handler), "Crumb Inbox cleanup error for "),
      inboxURL_(std::move(inboxURL)) {}

std::optional<Path> InboxWatcher::openInbox() {
    try {
        createDirectories(platform().files, inboxURL_);
    } catch (const FileError& error) {
        failOnce(inboxURL_, "Crumb Inbox create error: " + error.description(), error);
        return std::nullopt;
    }
    try {
        watchFolder(inboxURL_);
    } catch (const FileError& error) {
        failOnce(inboxURL_, "Crumb Inbox could not open directory for watching.", error);
        return std::nullopt;
    }
    wentWell(inboxURL_);
    return inboxURL_;
}

std::optional<Path> InboxWatcher::findInbox() const {
    return platform().files.statusFollowingLinks(inboxURL_) ? std::optional(inboxURL_)
                                                            : std::nullopt;
}

}  // namespace nookery
