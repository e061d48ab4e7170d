#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "collection/database/RecoveryPoint.h"
#include "collection/safety/SnapshotBuilder.h"
#include "collection/safety/SnapshotRepository.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Complete copies of the library's durable state, taken at launch when the newest is old, after a
/// burst of changes has settled, and before every destructive operation. The work runs on the
/// snapshots queue, behind what was handed to the files queue before: settings that are on their
/// way to the disk are in the snapshot. Destroying the object cancels what has not begun. Main
/// thread.
class CrumbRecoverySnapshots {
  public:
    static constexpr std::string_view queueLabel = "com.kestrelhq.Crumb.RecoverySnapshots";
    static constexpr double changeDebounce = 90;              ///< seconds of quiet after a change
    static constexpr double minimumRoutineInterval = 1800;    ///< seconds between routine snapshots
    static constexpr double launchFreshnessInterval = 21600;  ///< seconds
    static constexpr std::size_t maximumSnapshotCount = 6;    ///< older ones are deleted

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

    /// Takes a snapshot with a destructive operation's reason ("before-clear-library"). A failure
    /// is logged, and the operation is done all the same, with a recovery point that names no
    /// snapshot. What is to be removed must not be changed before it is.
    OperationPointer<RecoveryPoint> takeBeforeDestructive(const std::string& reason);

    /// Takes a snapshot that the user asked for, and answers its name. A failure is logged, too.
    OperationPointer<std::string> take(const std::string& reason);

    /// Oldest first. Throws FileError.
    std::vector<SnapshotSummary> list() const;

  private:
    class Worker;

    template <typename Result, typename Work>
    OperationPointer<Result> start(Work work);

    std::shared_ptr<Worker> worker_;  ///< shared with the work that runs
    WorkQueue& queue_;
    WorkQueue& filesQueue_;
    WorkQueue& mainQueue_;
    OperationControl routine_;  ///< of the snapshots that nobody asked for
    DelayedWork pendingWorkItem_;
    CallbackGuard guard_;
};

}  // namespace nookery
