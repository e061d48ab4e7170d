#pragma once

#include <set>

#include "collection/inbox/InboxFolderWatcher.h"

namespace nookery {

/// Where the phone puts its packages: "Documents/Inbox" in the container.
Path cloudInboxFolder(const Path& container);
/// The same, for looking into it. Throws CloudFolderIsLink or FileError.
Path usableCloudInbox(FileSystem& files, const Path& container);

/// Watches the inbox in the cloud container, which may be unavailable, appear and disappear at any
/// time. What another machine does there may come without an event, so it looks by itself, too.
class CloudInboxWatcher final : public InboxFolderWatcher {
  public:
    CloudInboxWatcher(const Platform& platform, InboxHandler handler,
                      const InboxDelays& delays = {});

  private:
    std::optional<Path> openInbox() override;
    std::optional<Path> findInbox() const override;
    void demandUsable(const Path& inbox) const override;
    void reportWaiting(const std::vector<InboxWaiting>& waiting) override;
    void reportMissing(const Path& file) override;
    bool eventsTellAll() const override { return false; }

    void requestDownload(const Path& file, std::string_view logPrefix);

    std::set<Path> requested_;  ///< placeholders whose content was asked for
};

}  // namespace nookery
