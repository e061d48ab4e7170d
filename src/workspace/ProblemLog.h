#pragma once

#include <functional>
#include <mutex>
#include <variant>
#include <vector>

#include "platform/Log.h"
#include "platform/Problem.h"

namespace nookery {

/// A problem that has happened, a subject that is well, or a look at many.
using ProblemNews = std::variant<Problem, ProblemSubject, ProblemSurvey>;

/// A log that keeps the problems reported through it until Problems takes them. Built before the
/// platform and handed to it as its log, so that it outlives all who report. Any thread.
class ProblemLog final : public Log {
  public:
    /// Lines go on to the log of the caller for whom the work is done, and else to `log`, which
    /// outlives this.
    explicit ProblemLog(Log& log) : log_(log) {}

    void line(std::string_view text) override;
    void report(const Problem& problem) override;
    void mended(const ProblemSubject& subject) override;
    void surveyed(const ProblemSurvey& survey) override;

    /// All that has come since the last call, in order.
    std::vector<ProblemNews> take();
    /// Called with each first piece of news that waits, on the thread that brings it, and at once
    /// when some waits already. It must return soon, and must not call back. Null for nobody.
    void setListener(std::function<void()> listener);

  private:
    void add(ProblemNews news);

    Log& log_;
    std::mutex mutex_;
    std::vector<ProblemNews> news_;
    std::function<void()> listener_;
};

}  // namespace nookery
