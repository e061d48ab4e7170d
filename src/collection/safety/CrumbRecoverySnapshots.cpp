#include "collection/safety/CrumbRecoverySnapshots.h"

#include <exception>
#include <limits>

#include "foundation/SqliteConnection.h"
#include "platform/Clock.h"
#include "platform/Log.h"

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
          shelf_(platform_.files, layout.snapshots()),
          builder_(platform_, layout, std::move(pause)) {}

    const SnapshotRepository& shelf() const { return shelf_; }

    /// Infinite when there is no snapshot.
    double ageOfNewest() const {
        return shelf_.ageOfNewest(platform_.clock.now())
            .value_or(std::numeric_limits<double>::infinity());
    }

    std::string take(const std::string& reason, const SnapshotFollower& follower) {
        tidy([this] { shelf_.sweep(); });
        std::string name = build(reason, follower);
        tidy([&] { shelf_.prune(maximumSnapshotCount, name, platform_.clock.now()); });
        return name;
    }

    /// Runs the work at the root of a callback; a failure is logged.
    template <typename Work>
    std::optional<std::string> logged(const char* prefix, Work work) {
        try {
            work();
            return std::nullopt;
        } catch (const std::exception& error) {
            platform_.log.line(std::string(prefix) + error.what());
            return error.what();
        }
    }

  private:
    std::string build(const std::string& reason, const SnapshotFollower& follower) {
        try {
            return builder_.build(reason, follower);
        } catch (const Error&) {
            // What was built may fill the disk; it is of no use to anybody.
            tidy([this] { shelf_.sweep(); });
            throw;
        }
    }

    /// Clearing up must not cost a snapshot.
    template <typename Work>
    void tidy(Work work) {
        logged("Crumb recovery snapshot clean-up error: ", work);
    }

    const Platform platform_;
    SnapshotRepository shelf_;
    SnapshotBuilder builder_;
};

CrumbRecoverySnapshots::CrumbRecoverySnapshots(const Platform& platform,
                                               const LibraryLayout& layout)
    : CrumbRecoverySnapshots(platform, layout, &pauseBackup) {}

CrumbRecoverySnapshots::CrumbRecoverySnapshots(const Platform& platform,
                                               const LibraryLayout& layout,
                                               SnapshotBuilder::Pause pause)
    : worker_(std::make_shared<Worker>(platform, layout, std::move(pause))),
      queue_(platform.snapshotQueue),
      mainQueue_(platform.mainQueue) {}

CrumbRecoverySnapshots::~CrumbRecoverySnapshots() { pendingWorkItem_.cancel(); }

void CrumbRecoverySnapshots::checkAtLaunch() {
    queue_.async([weak = std::weak_ptr(worker_)] {
        const auto worker = weak.lock();
        if (!worker) return;
        worker->logged(routinePrefix, [&] {
            if (worker->ageOfNewest() > launchFreshnessInterval) worker->take("launch", {});
        });
    });
}

void CrumbRecoverySnapshots::recordChange() {
    pendingWorkItem_.cancel();
    pendingWorkItem_ =
        queue_.after(WorkQueue::Delay(changeDebounce), [weak = std::weak_ptr(worker_)] {
            const auto worker = weak.lock();
            if (!worker) return;
            worker->logged(routinePrefix, [&] {
                if (worker->ageOfNewest() < minimumRoutineInterval) return;
                worker->take("settled-change", {});
            });
        });
}

void CrumbRecoverySnapshots::takeBeforeDestructive(
    const std::string& reason, std::function<void(RecoveryPoint)> continueOnMain,
    Progress progress) {
    enqueue(destructivePrefix, reason, follower(std::move(progress), {}),
            [continueOnMain = std::move(continueOnMain)](const Outcome& outcome) {
                continueOnMain(RecoveryPoint(outcome.snapshotName));
            });
}

void CrumbRecoverySnapshots::take(const std::string& reason, Progress progress,
                                  std::stop_token stop,
                                  std::function<void(const Outcome&)> finished) {
    enqueue(routinePrefix, reason, follower(std::move(progress), std::move(stop)),
            std::move(finished));
}

std::vector<SnapshotSummary> CrumbRecoverySnapshots::list() const {
    return worker_->shelf().summaries();
}

void CrumbRecoverySnapshots::enqueue(const char* failurePrefix, const std::string& reason,
                                     SnapshotFollower follower,
                                     std::function<void(const Outcome&)> finished) {
    queue_.async([weak = std::weak_ptr(worker_), failurePrefix, reason, follower,
                  &main = mainQueue_, finished = guard_.guarded(std::move(finished))]() mutable {
        const auto worker = weak.lock();
        if (!worker) return;
        Outcome outcome;
        outcome.failure = worker->logged(
            failurePrefix, [&] { outcome.snapshotName = worker->take(reason, follower); });
        main.async([finished, outcome]() mutable { finished(outcome); });
    });
}

SnapshotFollower CrumbRecoverySnapshots::follower(Progress progress, std::stop_token stop) const {
    SnapshotFollower follower{{}, std::move(stop)};
    if (progress) {
        follower.progress = [&main = mainQueue_, guarded = guard_.guarded(std::move(progress))](
                                const SnapshotProgress& state) {
            main.async([guarded, state]() mutable { guarded(state); });
        };
    }
    return follower;
}

}  // namespace nookery
