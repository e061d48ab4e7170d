#pragma once

#include <functional>
#include <optional>
#include <utility>

#include "platform/work/Operation.h"
#include "workspace/history/History.h"

namespace nookery {

/// Has a step drafted once the history is ready, has it made, and answers what the draft said. A
/// draft without changes makes no step. The owner of the guard owns what the draft uses.
template <typename Result>
OperationPointer<Result> makeStep(History& history, WorkQueue& mainQueue,
                                  const CallbackGuard& guard,
                                  std::function<Result(StepDraft&)> draft,
                                  std::optional<EditingToken> token = {}) {
    auto operation = Operation<Result>::create(mainQueue);
    const auto failed = [](const SaveFailure& failure) {
        return Outcome<Result>::failed({failure.message(), failure.advice(), {}});
    };
    history.whenReady(guard.guarded(
        [&history, operation, failed, draft = std::move(draft), token](const SaveFailure& unready) {
            if (unready) return operation->finish(failed(unready));
            try {
                StepDraft drafted{.step = {.name = {}, .at = history.now()}};
                const Result result = draft(drafted);
                if (drafted.isEmpty()) return operation->finish(Outcome<Result>::done(result));
                const auto made = [operation, result, failed](const SaveFailure& failure) {
                    operation->finish(failure ? failed(failure) : Outcome<Result>::done(result));
                };
                history.make(std::move(drafted), token, made);
            } catch (...) {
                operation->finish(Outcome<Result>::of(std::current_exception()));
            }
        }));
    return operation;
}

}  // namespace nookery
