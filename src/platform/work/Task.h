#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/work/Outcome.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// The one way to work elsewhere and answer on the main thread.
struct Task {
    /// Runs `work` on the queue, then `answer` with the work's outcome on the main queue. Called on
    /// the main thread. An exception that escapes the work is an outcome too. `answer` is not
    /// called once the owner's guard is gone.
    ///
    /// `work` may outlive its owner, and so must own all that it uses. `answer` is called and
    /// destroyed on the main thread only; the main queue logs an exception that leaves it.
    template <typename Work, typename Answer>
    static void run(WorkQueue& queue, WorkQueue& mainQueue, const CallbackGuard& owner, Work work,
                    Answer answer) {
        run(queue, mainQueue, std::move(work), owner.guarded(std::move(answer)));
    }

    /// The same without an owner: the answer keeps alive what it needs.
    template <typename Work, typename Answer>
    static void run(WorkQueue& queue, WorkQueue& mainQueue, Work work, Answer answer) {
        struct Request {
            std::optional<Work> work;
            std::optional<Answer> answer;
        };
        auto request = std::make_shared<Request>(Request{std::move(work), std::move(answer)});
        queue.async([request, &mainQueue] {
            auto outcome =
                std::make_shared<decltype(outcomeOf(*request->work))>(outcomeOf(*request->work));
            request->work.reset();
            // Moved whole, so that this thread keeps no part of the answer.
            auto reply = std::make_shared<Answer>(std::move(*request->answer));
            request->answer.reset();
            mainQueue.async([reply = std::move(reply), outcome = std::move(outcome)] {
                (*reply)(std::move(*outcome));
            });
        });
    }
};

}  // namespace nookery
