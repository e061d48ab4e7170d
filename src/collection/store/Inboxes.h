#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "collection/inbox/CloudInboxWatcher.h"
#include "collection/inbox/InboxIntake.h"
#include "collection/inbox/InboxWatcher.h"
#include "platform/work/Operation.h"

namespace nookery {

/// What taking in both inboxes once came to.
struct InboxesTaken {
    std::vector<InboxReport> reports;
    std::vector<InboxWaiting> waiting;  ///< what is left there, and why
};

/// The two inboxes: watchers that find what has come, and the intake that takes it into the
/// library. Main thread.
class Inboxes {
  public:
    Inboxes(const Platform& platform, const LibraryLayout& layout, Sidecar& sidecar,
            Library& library, CaptureService& capture);
    ~Inboxes();

    /// Watches both until `stop`.
    void start();
    /// Returns when no watcher runs any more. What is being taken in ends where it is whole.
    void stop();
    /// Takes what waits in both now, once. Stopping it ends what is being taken in where it is
    /// whole, unless the inboxes are watched: then it only ends the waiting for it.
    OperationPointer<InboxesTaken> takeOnce();

    /// What the latest handover came to; none before the first.
    const Published<std::optional<InboxReport>>& report() const { return intake_.report(); }

  private:
    struct TakingOnce;

    /// Hands what a watcher found to the intake, on the main thread.
    InboxHandler handlerFor(InboxKind inbox);

    const Platform& platform_;
    InboxIntake intake_;
    CallbackGuard guard_;
    std::shared_ptr<InboxWatcher> watcher_;
    std::shared_ptr<CloudInboxWatcher> cloudWatcher_;
    bool isWatching_ = false;
    std::vector<std::weak_ptr<TakingOnce>> takings_;
};

}  // namespace nookery
