#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/work/Outcome.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// The one way to work elsewhere and answer on the main thread.
struct Task {
    /// Runs `work` on the queue, then `answer` with what it came to on the main queue, where `Task`
    /// is called. Whatever escapes the work is an outcome. Nothing is answered once the owner's
    /// guard is gone.
    ///
    /// `work` outlives its owner, and so must own all that it uses; `answer` is only touched, and
    /// destroyed, on the main thread. An exception that leaves `answer` ends at the main queue's
    /// root, where it is logged.
    template <typename Work, typename Answer>
    static void run(WorkQueue& queue, WorkQueue& mainQueue, const CallbackGuard& owner, Work work,
                    Answer answer) {
        run(queue, mainQueue, std::move(work), owner.guarded(std::move(answer)));
    }

    /// The same without an owner: the answer keeps alive what it needs.
    template <typename Work, typename Answer>
    static void run(WorkQueue& queue, WorkQueue& mainQueue, Work work, Answer answer) {
        struct Parts {
            std::optional<Work> work;
            std::optional<Answer> answer;
        };
        auto parts = std::make_shared<Parts>(Parts{std::move(work), std::move(answer)});
        queue.async([parts, &mainQueue] {
            auto outcome =
                std::make_shared<decltype(outcomeOf(*parts->work))>(outcomeOf(*parts->work));
            parts->work.reset();
            // Moved whole, so that this thread keeps no part of the answer.
            auto reply = std::make_shared<Answer>(std::move(*parts->answer));
            parts->answer.reset();
            mainQueue.async([reply = std::move(reply), outcome = std::move(outcome)] {
                (*reply)(std::move(*outcome));
            });
        });
    }
};

}  // namespace nookery
