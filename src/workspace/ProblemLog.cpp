#include "workspace/ProblemLog.h"

#include <utility>

#include "platform/work/Caller.h"

namespace nookery {
namespace {

/// While nobody takes the news, as in a short command, no more of it is kept.
constexpr std::size_t mostNews = 10'000;

}  // namespace

void ProblemLog::line(std::string_view text) {
    const auto& caller = CallerScope::current();
    const auto callersLog = caller ? caller->log.lock() : nullptr;
    (callersLog ? *callersLog : log_).line(text);
}

void ProblemLog::report(const Problem& problem) { add(problem); }
void ProblemLog::mended(const ProblemSubject& subject) { add(subject); }
void ProblemLog::surveyed(const ProblemSurvey& survey) { add(survey); }

void ProblemLog::add(ProblemNews news) {
    const std::lock_guard lock(mutex_);
    if (news_.size() == mostNews) return;
    news_.push_back(std::move(news));
    if (news_.size() == 1 && listener_) listener_();
}

std::vector<ProblemNews> ProblemLog::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(news_, {});
}

void ProblemLog::setListener(std::function<void()> listener) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
    if (listener_ && !news_.empty()) listener_();
}

}  // namespace nookery
