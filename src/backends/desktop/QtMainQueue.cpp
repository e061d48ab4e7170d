#include "backends/desktop/QtMainQueue.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimer>
#include <QTimerEvent>
#include <deque>
#include <future>
#include <mutex>
#include <optional>

#include "platform/work/Caller.h"
#include "platform/work/ThreadQueues.h"

namespace nookery {
namespace {

using SteadyClock = std::chrono::steady_clock;

/// About half of what a window's next picture may wait for.
constexpr std::chrono::milliseconds longestTurn{8};

class QtMainQueue final : public QObject, public WorkQueue {
  public:
    explicit QtMainQueue(Log& log) : log_(log) {}

    void async(Work work) override {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(forCurrentCaller(std::move(work)));
        if (std::exchange(isAwake_, true)) return;
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    DelayedWork after(Delay delay, Work work) override {
        auto cancelled = std::make_shared<std::atomic<bool>>(false);
        const auto due =
            SteadyClock::now() + std::chrono::duration_cast<SteadyClock::duration>(delay);
        Work unlessCancelled = [cancelled, work = std::move(work)] {
            if (!*cancelled) work();
        };
        // Timers belong to the thread that starts them.
        async([this, due, unlessCancelled = std::move(unlessCancelled)]() mutable {
            startTimer(due, std::move(unlessCancelled));
        });
        return DelayedWork(cancelled);
    }

    void sync(const Work& work) override {
        std::promise<void> done;
        async([&] {
            try {
                work();
                done.set_value();
            } catch (...) {
                done.set_exception(std::current_exception());
            }
        });
        done.get_future().get();
    }

  protected:
    bool event(QEvent* event) override {
        if (event->type() != QEvent::User) return QObject::event(event);
        runTurn();
        return true;
    }
    void timerEvent(QTimerEvent* event) override {
        killTimer(event->timerId());
        runTurn();
    }

  private:
    void startTimer(SteadyClock::time_point due, Work work) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - SteadyClock::now());
        if (left.count() <= 0) return runLogged(work, log_);
        QTimer::singleShot(left, Qt::PreciseTimer, this,
                           [this, work = std::move(work)] { runLogged(work, log_); });
    }

    /// A posted event would come before input and painting, and so would the next one; a timer
    /// without delay comes after them.
    void runTurn() {
        const auto end = SteadyClock::now() + longestTurn;
        while (const auto work = take()) {
            runLogged(*work, log_);
            if (SteadyClock::now() < end) continue;
            QObject::startTimer(0);
            return;
        }
    }

    /// None when nothing waits: then the next piece wakes the queue.
    std::optional<Work> take() {
        const std::lock_guard lock(mutex_);
        isAwake_ = !waiting_.empty();
        if (waiting_.empty()) return std::nullopt;
        Work first = std::move(waiting_.front());
        waiting_.pop_front();
        return first;
    }

    Log& log_;
    std::mutex mutex_;
    std::deque<Work> waiting_;
    bool isAwake_ = false;  ///< a turn is under way or about to come
};

}  // namespace

std::unique_ptr<WorkQueue> makeQtMainQueue(Log& log) { return std::make_unique<QtMainQueue>(log); }

}  // namespace nookery
