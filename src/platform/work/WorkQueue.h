#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace nookery {

/// Work that waits for its time on a queue. Cancelling is allowed from any thread, any number of
/// times; work that has begun runs to its end. Destroying the handle does not cancel.
class DelayedWork {
  public:
    DelayedWork() = default;
    explicit DelayedWork(std::shared_ptr<std::atomic<bool>> cancelled)
        : cancelled_(std::move(cancelled)) {}

    void cancel() {
        if (cancelled_) *cancelled_ = true;
        cancelled_.reset();
    }
    bool isPending() const { return cancelled_ != nullptr; }

  private:
    std::shared_ptr<std::atomic<bool>> cancelled_;
};

/// A serial queue: what is handed to it runs one at a time, in order. State that belongs to a
/// queue is touched only by work that runs on it, so no logic here needs locks. Exceptions that
/// leave a piece of work are logged at the queue's root and end that piece only.
///
/// The tests' queue runs on virtual time and on the caller's thread; nothing here may assume that
/// `async` returns before the work has run, or that the work runs on another thread.
class WorkQueue {
  public:
    using Work = std::function<void()>;
    using Delay = std::chrono::duration<double>;

    virtual ~WorkQueue() = default;

    /// Returns at once. The work is done for the caller that the calling thread works for. Any
    /// thread.
    virtual void async(Work work) = 0;
    /// Runs the work once the delay has passed, unless cancelled; for no caller, who may be gone by
    /// then. The handle's `cancel` and the
    /// start of the work are ordered by the queue that the handle is used on: cancel from the
    /// queue itself or from the thread that scheduled it.
    virtual DelayedWork after(Delay delay, Work work) = 0;
    /// Returns when the work has run; an exception that leaves it is rethrown here. Must not be
    /// called from the queue itself.
    virtual void sync(const Work& work) = 0;
};

/// Lets a callback that arrives late notice that its owner is gone. The owner holds the guard; a
/// callback made with `guarded` does nothing once the guard is destroyed. Owner and callback must
/// be on the same thread.
class CallbackGuard {
  public:
    template <typename Function>
    auto guarded(Function function) const {
        return [alive = std::weak_ptr<int>(token_), function](auto&&... arguments) mutable {
            if (alive.lock()) function(std::forward<decltype(arguments)>(arguments)...);
        };
    }

  private:
    std::shared_ptr<int> token_ = std::make_shared<int>(0);
};

}  // namespace nookery
