#pragma once

#include "collection/inbox/InboxFolderWatcher.h"

namespace nookery {

/// Watches the local drop folder in the library.
class InboxWatcher final : public InboxFolderWatcher {
  public:
    InboxWatcher(const Platform& platform, Path inboxURL, InboxHandler handler,
                 const InboxDelays& delays = {});

  private:
    std::optional<Path> openInbox() override;
    std::optional<Path> findInbox() const override;
    bool eventsTellAll() const override { return true; }

    Path inboxURL_;
};

}  // namespace nookery
