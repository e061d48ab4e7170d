#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "collection/inbox/InboxBatch.h"
#include "collection/inbox/PackageIntake.h"
#include "foundation/Published.h"
#include "platform/work/Caller.h"

namespace nookery {

enum class InboxKind { local, cloud };

/// What taking in one handover came to.
struct InboxReport {
    InboxKind inbox = InboxKind::local;
    CaptureReport taken{};  ///< files and packages alike
};

/// Takes what the inbox watchers hand over into the library: files through capture, packages one
/// after the other. Handovers are done in their order. Main thread.
class InboxIntake {
  public:
    InboxIntake(const Platform& platform, const LibraryLayout& layout, Sidecar& sidecar,
                Library& library, CaptureService& capture);
    /// Stops what is under way; no callback is called after this.
    ~InboxIntake();

    /// Replies on the main thread, once, when all that could be taken is committed.
    void take(InboxKind inbox, std::vector<InboxUnit> units,
              std::function<void(InboxOutcome)> reply);
    /// What is under way ends where it is whole.
    void requestStop() { stop_.request_stop(); }
    /// What the latest handover came to; none before the first.
    const Published<std::optional<InboxReport>>& report() const { return report_; }

  private:
    struct Job {
        InboxKind inbox;
        std::vector<InboxPackage> packages;  ///< the next one at the back
        std::vector<Path> files;
        std::function<void(InboxOutcome)> reply;
        InboxOutcome outcome{};
        InboxReport report{};
        std::size_t leftCount = 0;
        std::shared_ptr<const Caller> caller = CallerScope::current();
    };

    void beginNext();
    void begin();
    void recordFiles(const CaptureReport& report);
    void takeNextPackage();
    void recordPackage(PackageOutcome outcome);
    void finish();
    void publishLeftCount(std::size_t count);
    std::optional<HeldOriginal> heldOriginal(const CaptureOrigin& origin) const;

    Library& library_;
    CaptureService& capture_;
    PackageIntake packages_;
    std::deque<Job> jobs_;  ///< the front one runs
    Published<std::optional<InboxReport>> report_;
    Subscription progress_;  ///< of the capture under way
    std::stop_source stop_;
    CallbackGuard guard_;
};

}  // namespace nookery
