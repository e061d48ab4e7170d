#pragma once

#include <memory>
#include <utility>

#include "platform/work/Operation.h"

namespace nookery {

/// Has `outer` go as `inner` does: its progress and its stop. `ended` hears of the outcome, and
/// ends `outer`.
template <typename Result, typename Ended>
void relay(const OperationPointer<Result>& inner, const OperationPointer<Result>& outer,
           Ended ended) {
    inner->stopWith(outer->control().stopToken());
    const auto following =
        std::make_shared<Subscription>(inner->progress().subscribe([outer](const auto& progress) {
            if (progress) outer->control().report(*progress);
        }));
    inner->whenFinished([following, ended](const Outcome<Result>& outcome) mutable {
        following->reset();
        ended(outcome);
    });
}

/// The same, and its end.
template <typename Result>
void relay(const OperationPointer<Result>& inner, const OperationPointer<Result>& outer) {
    relay(inner, outer, [outer](const Outcome<Result>& outcome) { outer->finish(outcome); });
}

}  // namespace nookery
