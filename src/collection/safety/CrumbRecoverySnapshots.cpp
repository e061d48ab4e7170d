#include "collection/safety/CrumbRecoverySnapshots.h"

#include <exception>
#include <limits>

#include "foundation/SqliteConnection.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/RecurringProblem.h"

namespace nookery {
namespace {

constexpr const char* routinePrefix = "Crumb recovery snapshot error: ";
constexpr const char* destructivePrefix = "Crumb pre-destructive recovery snapshot error: ";

}  // namespace

/// What runs on the queue. It holds its own copy of everything, since it may outlive the object
/// whose work it does.
class CrumbRecoverySnapshots::Worker {
  public:
    Worker(const Platform& platform, const LibraryLayout& layout, SnapshotBuilder::Pause pause)
        : platform_(platform),
          repository_(platform_.files, layout.snapshots()),
          builder_(platform_, layout, std::move(pause)),
          taking_(platform.log, {.kind = ProblemKind::snapshot, .path = layout.snapshots()}) {}

    const SnapshotRepository& repository() const { return repository_; }

    /// Infinite when there is no snapshot.
    double ageOfNewest() const {
        return repository_.ageOfNewest(platform_.clock.now())
            .value_or(std::numeric_limits<double>::infinity());
    }

    std::string take(const std::string& reason, const OperationControl& control) {
        tidy([this] { repository_.sweep(); });
        std::string name = build(reason, control);
        tidy([&] { repository_.prune(maximumSnapshotCount, name, platform_.clock.now()); });
        return name;
    }

    void log(const char* prefix, const std::exception& error) {
        platform_.log.line(std::string(prefix) + error.what());
    }
    /// Runs the work at the root of a callback; a failure is logged.
    template <typename Work>
    void logged(const char* prefix, Work work) {
        try {
            work();
        } catch (const std::exception& error) {
            log(prefix, error);
        }
    }

  private:
    std::string build(const std::string& reason, const OperationControl& control) {
        try {
            std::string name = builder_.build(reason, control);
            taking_.wentWell();
            return name;
        } catch (const Error& error) {
            // What was built may fill the disk; it is of no use to anybody.
            tidy([this] { repository_.sweep(); });
            if (dynamic_cast<const Cancelled*>(&error) == nullptr) {
                taking_.happened("No recovery snapshot could be taken: " + error.description(),
                                 error.advice());
            }
            throw;
        }
    }

    /// Clearing up must not cost a snapshot.
    template <typename Work>
    void tidy(Work work) {
        logged("Crumb recovery snapshot clean-up error: ", work);
    }

    const Platform platform_;
    SnapshotRepository repository_;
    SnapshotBuilder builder_;
    RecurringProblem taking_;
};

CrumbRecoverySnapshots::CrumbRecoverySnapshots(const Platform& platform,
                                               const LibraryLayout& layout)
    : CrumbRecoverySnapshots(platform, layout, &pauseBackup) {}

CrumbRecoverySnapshots::CrumbRecoverySnapshots(const Platform& platform,
                                               const LibraryLayout& layout,
                                               SnapshotBuilder::Pause pause)
    : worker_(std::make_shared<Worker>(platform, layout, std::move(pause))),
      queue_(platform.snapshotQueue),
      filesQueue_(platform.filesQueue),
      mainQueue_(platform.mainQueue),
      routine_(platform.mainQueue) {}

CrumbRecoverySnapshots::~CrumbRecoverySnapshots() {
    pendingWorkItem_.cancel();
    routine_.requestStop();
}

void CrumbRecoverySnapshots::checkAtLaunch() {
    queue_.async([weak = std::weak_ptr(worker_), control = routine_] {
        const auto worker = weak.lock();
        if (!worker) return;
        worker->logged(routinePrefix, [&] {
            if (worker->ageOfNewest() > launchFreshnessInterval) worker->take("launch", control);
        });
    });
}

void CrumbRecoverySnapshots::recordChange() {
    pendingWorkItem_.cancel();
    pendingWorkItem_ = queue_.after(WorkQueue::Delay(changeDebounce),
                                    [weak = std::weak_ptr(worker_), control = routine_] {
                                        const auto worker = weak.lock();
                                        if (!worker) return;
                                        worker->logged(routinePrefix, [&] {
                                            if (worker->ageOfNewest() < minimumRoutineInterval)
                                                return;
                                            worker->take("settled-change", control);
                                        });
                                    });
}

/// Runs `work` with the worker on the snapshots queue, once the files queue has come so far.
template <typename Result, typename Work>
OperationPointer<Result> CrumbRecoverySnapshots::start(Work work) {
    auto operation = Operation<Result>::create(mainQueue_);
    auto taken = [work = std::move(work), weak = std::weak_ptr(worker_),
                  control = operation->control()]() -> Result {
        control.throwIfStopped();
        const auto worker = weak.lock();
        if (!worker) throw Cancelled();
        return work(*worker, control);
    };
    Task::run(
        filesQueue_, mainQueue_, [] {},
        [operation, taken = std::move(taken), &queue = queue_,
         &mainQueue = mainQueue_](Outcome<Nothing>) mutable {
            Task::run(queue, mainQueue, std::move(taken), [operation](Outcome<Result> outcome) {
                operation->finish(std::move(outcome));
            });
        });
    return operation;
}

OperationPointer<RecoveryPoint> CrumbRecoverySnapshots::takeBeforeDestructive(
    const std::string& reason) {
    return start<RecoveryPoint>([reason](Worker& worker, const OperationControl& control) {
        try {
            return RecoveryPoint(worker.take(reason, control));
        } catch (const Cancelled&) {
            throw;
        } catch (const std::exception& error) {
            worker.log(destructivePrefix, error);
            return RecoveryPoint(std::nullopt);
        }
    });
}

OperationPointer<std::string> CrumbRecoverySnapshots::take(const std::string& reason) {
    return start<std::string>([reason](Worker& worker, const OperationControl& control) {
        try {
            return worker.take(reason, control);
        } catch (const std::exception& error) {
            worker.log(routinePrefix, error);
            throw;
        }
    });
}

std::vector<SnapshotSummary> CrumbRecoverySnapshots::list() const {
    return worker_->repository().summaries();
}

}  // namespace nookery
