#pragma once

#include "platform/work/Operation.h"
#include "platform/work/ThreadQueues.h"
#include "records/SaveFailure.h"

namespace nookery {

/// Runs the main loop until the operation has ended, and answers its result. Throws what it failed
/// with.
template <typename Result>
Result resultOf(LoopQueue& mainLoop, const OperationPointer<Result>& operation) {
    mainLoop.runUntil([&] { return operation->isFinished(); });
    return operation->outcome()->get();
}

/// Begins a change that is saved elsewhere, and runs the main loop until it is durable. Throws
/// Error when it is not.
inline void save(LoopQueue& mainLoop, const std::function<void(Saved)>& begin) {
    std::optional<SaveFailure> outcome;
    begin([&](const SaveFailure& failure) { outcome = failure; });
    mainLoop.runUntil([&] { return outcome.has_value(); });
    outcome->throwIfFailed();
}

}  // namespace nookery
