#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "collection/database/RecoveryPoint.h"
#include "collection/safety/SnapshotBuilder.h"
#include "collection/safety/SnapshotRepository.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Complete copies of the library's durable state, taken at launch when the newest is old, after a
/// burst of changes has settled, and before every destructive operation. The work runs on the
/// snapshots queue; all methods are called on the main thread, and so is every callback.
/// Destroying the object cancels what has not begun.
class CrumbRecoverySnapshots {
  public:
    static constexpr std::string_view queueLabel = "com.kestrelhq.Crumb.RecoverySnapshots";
    static constexpr double changeDebounce = 90;              ///< seconds of quiet after a change
    static constexpr double minimumRoutineInterval = 1800;    ///< seconds between routine snapshots
    static constexpr double launchFreshnessInterval = 21600;  ///< seconds
    static constexpr std::size_t maximumSnapshotCount = 6;    ///< older ones are deleted

    using Progress = std::function<void(const SnapshotProgress&)>;

    /// The outcome of a snapshot that was asked for: a name, or why there is none.
    struct Outcome {
        std::optional<std::string> snapshotName;
        std::optional<std::string> failure;  ///< "Cancelled." when it was stopped
    };

    CrumbRecoverySnapshots(const Platform& platform, const LibraryLayout& layout);
    /// With a pause of the caller's between the steps of a database's backup.
    CrumbRecoverySnapshots(const Platform& platform, const LibraryLayout& layout,
                           SnapshotBuilder::Pause pause);
    ~CrumbRecoverySnapshots();

    /// Takes a snapshot "launch" unless the newest is fresh. Once, after the database is open.
    void checkAtLaunch();

    /// A change was saved: takes a snapshot "settled-change" once no change has come for the
    /// debounce, unless the newest is younger than the routine interval.
    void recordChange();

    /// Takes a snapshot with the operation's reason ("before-clear-library"), then calls
    /// `continueOnMain`. A failure is logged, and the operation goes on with a recovery point that
    /// names no snapshot. The library must not be changed in between.
    void takeBeforeDestructive(const std::string& reason,
                               std::function<void(RecoveryPoint)> continueOnMain,
                               Progress progress = {});

    /// Takes a snapshot that the user asked for.
    void take(const std::string& reason, Progress progress, std::stop_token stop,
              std::function<void(const Outcome&)> finished);

    /// Oldest first. Throws FileError.
    std::vector<SnapshotSummary> list() const;

  private:
    class Worker;

    void enqueue(const char* failurePrefix, const std::string& reason, SnapshotFollower follower,
                 std::function<void(const Outcome&)> finished);
    SnapshotFollower follower(Progress progress, std::stop_token stop) const;

    std::shared_ptr<Worker> worker_;  ///< shared with the work that runs
    WorkQueue& queue_;
    WorkQueue& mainQueue_;
    DelayedWork pendingWorkItem_;
    CallbackGuard guard_;
};

}  // namespace nookery
