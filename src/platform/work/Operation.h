#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "foundation/Published.h"
#include "platform/work/Outcome.h"
#include "platform/work/Task.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// How far long work is.
struct OperationProgress {
    std::string what;         ///< what is being done, for the person: "taking in"
    std::uint64_t done = 0;   ///< of things or bytes, as the operation counts
    std::uint64_t total = 0;  ///< 0 while it is not known
    bool operator==(const OperationProgress&) const = default;
};

/// The work's own handle on its operation. Copies share one state. Any thread.
class OperationControl {
  public:
    explicit OperationControl(WorkQueue& mainQueue);

    std::stop_token stopToken() const;
    bool isStopRequested() const { return stopToken().stop_requested(); }
    void requestStop() const;
    /// Throws Cancelled once a stop was requested.
    void throwIfStopped() const;

    /// Tells how far the work is. Never waits, and may be called as often as there is news: the
    /// main thread gets the latest when it comes to it.
    void report(OperationProgress progress) const;

  private:
    friend class OperationBase;
    struct Shared;
    std::shared_ptr<Shared> shared_;
};

/// The part of an operation that does not depend on its result. Main thread.
class OperationBase : public std::enable_shared_from_this<OperationBase> {
  public:
    OperationBase(const OperationBase&) = delete;
    OperationBase& operator=(const OperationBase&) = delete;
    virtual ~OperationBase();

    /// None until the first news.
    const Published<std::optional<OperationProgress>>& progress() const { return progress_; }
    /// Asks the work to end at its next safe point. The work may still finish. Any thread.
    void stop();
    /// Stops when the token says so, as long as the operation lives.
    void stopWith(std::stop_token token);
    virtual bool isFinished() const = 0;
    /// Why it failed; null while it runs, and when it was done or stopped.
    virtual const Failure* failure() const = 0;
    /// Called once on the main thread when the operation ends; at once when it has.
    void whenEnded(std::function<void()> ended);

    const OperationControl& control() const { return control_; }

  protected:
    friend class OperationControl;

    explicit OperationBase(WorkQueue& mainQueue);
    /// To be called once the object is held by a shared pointer.
    void connect();
    void announceEnd();

  private:
    OperationControl control_;
    Published<std::optional<OperationProgress>> progress_;
    std::vector<std::function<void()>> ended_;
    std::optional<std::stop_callback<std::function<void()>>> relay_;
};

/// The one shape of long work: published progress, a way to stop it, and one outcome. Whoever
/// begins the work makes the operation and hands it out; a command waits on it, a window observes
/// it. It lives as long as the work or anybody holds it: letting go of it stops nothing. Main
/// thread.
template <typename Result>
class Operation final : public OperationBase {
  public:
    static std::shared_ptr<Operation> create(WorkQueue& mainQueue) {
        auto operation = std::shared_ptr<Operation>(new Operation(mainQueue));
        operation->connect();
        return operation;
    }
    /// One that has its outcome already, such as a refusal.
    static std::shared_ptr<Operation> ended(WorkQueue& mainQueue, Outcome<Result> outcome) {
        auto operation = create(mainQueue);
        operation->finish(std::move(outcome));
        return operation;
    }

    bool isFinished() const override { return outcome_.has_value(); }
    const Failure* failure() const override { return outcome_ ? outcome_->failure() : nullptr; }
    /// None while the work runs.
    const std::optional<Outcome<Result>>& outcome() const { return outcome_; }
    /// Called once on the main thread with the outcome; at once when it is there.
    void whenFinished(std::function<void(const Outcome<Result>&)> finished) {
        whenEnded([this, finished = std::move(finished)] { finished(*outcome_); });
    }

    /// For whoever does the work: ends the operation, once.
    void finish(Outcome<Result> outcome) {
        if (outcome_) return;
        outcome_ = std::move(outcome);
        announceEnd();
    }

  private:
    using OperationBase::OperationBase;

    std::optional<Outcome<Result>> outcome_;
};

template <typename Result>
using OperationPointer = std::shared_ptr<Operation<Result>>;

/// Begins an operation whose whole work runs on one queue: `work` is called there with the
/// operation's control, must own all that it uses, and answers the result. Main thread.
template <typename Work>
auto startOperation(WorkQueue& queue, WorkQueue& mainQueue, Work work) {
    using Returned = decltype(work(std::declval<const OperationControl&>()));
    using Result = std::conditional_t<std::is_void_v<Returned>, Nothing, Returned>;
    auto operation = Operation<Result>::create(mainQueue);
    Task::run(
        queue, mainQueue,
        [work = std::move(work), control = operation->control()]() mutable {
            control.throwIfStopped();
            return work(control);
        },
        [operation](Outcome<Result> outcome) { operation->finish(std::move(outcome)); });
    return operation;
}

}  // namespace nookery
