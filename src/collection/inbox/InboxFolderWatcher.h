#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "collection/inbox/InboxBatch.h"
#include "collection/inbox/InboxScanner.h"
#include "platform/DirectoryEvents.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

struct InboxDelays {
    WorkQueue::Delay debounce{0.5};       ///< from the last event to the scan
    WorkQueue::Delay longestDebounce{5};  ///< however long the events go on
    WorkQueue::Delay settling{2};         ///< an entry holds still this long before it is taken
    WorkQueue::Delay rescan{5};           ///< while something waits that no event would tell of
    WorkQueue::Delay retry{12};           ///< after a failure
    WorkQueue::Delay idleRescan{60};      ///< for file systems that tell nothing
};

/// What the two inbox watchers have in common: when to scan a folder, when to hand over what has
/// come to rest, when to try again. Its state lives on the inbox queue; the public methods are
/// called on the main thread.
class InboxFolderWatcher : public std::enable_shared_from_this<InboxFolderWatcher> {
  public:
    virtual ~InboxFolderWatcher() = default;

    /// Watches until `stop`. An inbox that is not there, or goes away, is looked for again.
    void start();

    using Finished = std::function<void(std::vector<InboxWaiting>)>;
    /// Takes what waits now and says on the main queue what is left, once nothing that waited now
    /// is still to come. Where nobody watches it creates nothing, and watches no longer than that.
    void takeOnce(Finished finished);

    /// Returns when nothing of it runs any more. What is being taken in is not waited for.
    void stop();

  protected:
    InboxFolderWatcher(const Platform& platform, const InboxDelays& delays, InboxHandler handler,
                       std::string cleanupErrorPrefix);

    /// Makes sure of the inbox and watches it; none when it cannot be had now. Failures are logged
    /// here. Called again after the retry delay.
    virtual std::optional<Path> openInbox() = 0;
    /// Asked before each look into an open inbox; throws Error when it may not be used any more.
    virtual void demandUsable(const Path&) const {}
    /// The inbox as it is; none when there is none.
    virtual std::optional<Path> findInbox() const = 0;
    /// Sees what each scan left waiting.
    virtual void reportWaiting(const std::vector<InboxWaiting>&) {}
    /// A file that a package needs is only a placeholder.
    virtual void reportMissing(const Path&) {}
    /// Whether events tell of everything that others do in the folder itself.
    virtual bool eventsTellAll() const = 0;

    /// Throws FileError.
    void watchFolder(const Path& folder);
    /// Logs a failure of the inbox, and reports it, unless it is the last one again.
    void failOnce(const Path& inbox, const std::string& line, const Error& error);
    void wentWell(const Path& inbox);

    const Platform& platform() const { return platform_; }

  private:
    enum class Mode { idle, watching, once, stopped };

    void open();
    void lose(const std::string& reason = {});
    void handleReport(const DirectoryReport& report);
    void scheduleScan();
    void scan();
    void scheduleNext(const StabilityTracker::Readiness& readiness);
    void handOver(std::vector<InboxUnit> units);
    void close(const std::vector<InboxUnit>& units, const InboxOutcome& outcome);
    void answer(const StabilityTracker::Readiness& readiness);
    std::optional<std::string> whyNotReady(const InboxPackage& package);
    void onQueue(std::function<void()> work);
    DelayedWork later(WorkQueue::Delay delay, std::function<void()> work);
    std::function<void()> whileAlive(std::function<void()> work);

    Platform platform_;
    InboxDelays delays_;
    InboxHandler handler_;
    InboxScanner scanner_;
    Mode mode_ = Mode::idle;
    /// Who wants to hear when all that waited when they asked is taken.
    struct Asked {
        Finished finished;
        std::uint64_t round = 0;  ///< of the first look afterwards; 0: none yet
    };
    std::vector<Asked> asked_;
    std::optional<Path> inbox_;
    std::unique_ptr<DirectoryWatch> source_;
    DelayedWork debounceWorkItem_;
    DelayedWork longestDebounceItem_;
    DelayedWork retryWorkItem_;
    DelayedWork pollWorkItem_;
    std::size_t handoversUnderWay_ = 0;
    std::string lastLogged_;
};

}  // namespace nookery
