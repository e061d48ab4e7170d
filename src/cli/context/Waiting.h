#pragma once

#include <functional>
#include <memory>
#include <stop_token>

#include "cli/context/Dialogue.h"
#include "foundation/Published.h"
#include "platform/work/Coroutine.h"
#include "platform/work/Operation.h"
#include "records/SaveFailure.h"

namespace nookery::cli {

/// How a command waits for what goes on elsewhere, on behalf of a person who may interrupt it. Main
/// thread.
class Waiting {
  public:
    Waiting(WorkQueue& mainQueue, Dialogue& dialogue)
        : mainQueue_(mainQueue), dialogue_(dialogue) {}

    /// Begins a change that is saved elsewhere; ends when it is durable. Throws Error when it is
    /// not.
    Coroutine<> save(std::function<void(Saved)> begin);
    /// The end of an operation; shows how far it is, and stops it when the person interrupts. The
    /// outcome is there afterwards.
    Coroutine<> waitFor(std::shared_ptr<OperationBase> operation);
    /// The same, and answers its result. Throws what the operation failed with, and Cancelled when
    /// it was stopped.
    template <typename Result>
    Coroutine<Result> resultOf(OperationPointer<Result> operation) {
        co_await waitFor(operation);
        // The operation may be known to others, who read its outcome too.
        co_return operation->outcome()->get();
    }
    /// As waitFor, but ends when the person interrupts too.
    Coroutine<> endOrInterruption(std::shared_ptr<OperationBase> operation);
    /// Ends when the value meets the condition.
    template <typename Value>
    Coroutine<> when(const Published<Value>& value, std::function<bool(const Value&)> isMet) {
        if (isMet(*value)) co_return;
        Subscription following;
        Callback<Nothing> met(mainQueue_, [&](const std::function<void(Nothing)>& answer) {
            following = value.subscribe([isMet, answer](const Value& now) {
                if (isMet(now)) answer({});
            });
        });
        co_await met;
    }
    /// Ends when the value meets the condition, or the person interrupts.
    template <typename Value>
    Coroutine<> until(const Published<Value>& value, std::function<bool(const Value&)> isMet) {
        if (isMet(*value) || isInterrupted()) co_return;
        Subscription following;
        const Begin begin = [&](const std::function<void()>& goOn) {
            following = value.subscribe([isMet, goOn](const Value& now) {
                if (isMet(now)) goOn();
            });
        };
        co_await interruptible(begin);
        dialogue_.messages().endProgress();
    }
    /// Ends after the time.
    Coroutine<> pause(WorkQueue::Delay time);
    std::stop_token stop() const { return dialogue_.console().stop(); }
    bool isInterrupted() const { return stop().stop_requested(); }

  private:
    using Begin = std::function<void(const std::function<void()>& goOn)>;
    /// Ends when the function that `begin` is given was called, or the person interrupts.
    Coroutine<> interruptible(Begin begin);

    WorkQueue& mainQueue_;
    Dialogue& dialogue_;
};

}  // namespace nookery::cli
