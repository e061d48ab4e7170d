#pragma once

#include <string>
#include <utility>

#include "platform/Log.h"
#include "platform/Problem.h"

namespace nookery {

/// One thing that is done again and again and may fail each time: tells the log when it goes wrong,
/// and once when it goes well again. What an earlier session reported is mended by the first time
/// that it goes well. Used by one thread at a time; must not outlive the log.
class RecurringProblem {
  public:
    RecurringProblem(Log& log, ProblemSubject subject) : log_(log), subject_(std::move(subject)) {}

    void happened(std::string message, std::string advice) {
        isWell_ = false;
        log_.report({subject_, std::move(message), std::move(advice)});
    }
    void wentWell() {
        if (!std::exchange(isWell_, true)) log_.mended(subject_);
    }

  private:
    Log& log_;
    ProblemSubject subject_;
    bool isWell_ = false;
};

}  // namespace nookery
