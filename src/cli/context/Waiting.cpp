#include "cli/context/Waiting.h"

#include <fmt/format.h>

#include <optional>
#include <string>

namespace nookery::cli {
namespace {

std::string progressText(const OperationProgress& progress) {
    if (progress.total == 0) return fmt::format("{}: {}", progress.what, progress.done);
    return fmt::format("{}: {} of {}", progress.what, progress.done, progress.total);
}

}  // namespace

Coroutine<> Waiting::save(std::function<void(Saved)> begin) {
    Callback<SaveFailure> saved(mainQueue_, begin);
    const SaveFailure failure = co_await saved;
    failure.throwIfFailed();
}

Coroutine<> Waiting::waitFor(std::shared_ptr<OperationBase> operation) {
    const std::stop_callback stopping(stop(), [operation] { operation->stop(); });
    const Subscription following = operation->progress().subscribe([this](const auto& progress) {
        if (progress) dialogue_.messages().progress(progressText(*progress));
    });
    if (!operation->isFinished()) {
        Callback<Nothing> ended(mainQueue_, [&](const std::function<void(Nothing)>& answer) {
            operation->whenEnded([answer] { answer({}); });
        });
        co_await ended;
    }
    dialogue_.messages().endProgress();
}

Coroutine<> Waiting::interruptible(Begin begin) {
    std::optional<std::stop_callback<std::function<void()>>> stopping;
    Callback<Nothing> reached(mainQueue_, [&](const std::function<void(Nothing)>& answer) {
        const auto goOn = [answer] { answer({}); };
        begin(goOn);
        stopping.emplace(stop(), [&queue = mainQueue_, goOn] { queue.async(goOn); });
    });
    co_await reached;
}

Coroutine<> Waiting::pause(WorkQueue::Delay time) {
    Callback<Nothing> over(mainQueue_, [&](const std::function<void(Nothing)>& answer) {
        mainQueue_.after(time, [answer] { answer({}); });
    });
    co_await over;
}

Coroutine<> Waiting::endOrInterruption(std::shared_ptr<OperationBase> operation) {
    const Begin begin = [&](const std::function<void()>& goOn) { operation->whenEnded(goOn); };
    co_await interruptible(begin);
    dialogue_.messages().endProgress();
}

}  // namespace nookery::cli
