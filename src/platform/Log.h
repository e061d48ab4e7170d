#pragma once

#include <string_view>

namespace nookery {

struct Problem;
struct ProblemSubject;
struct ProblemSurvey;

/// The program's log, for what happens while nobody waits for an answer. A line is a fixed prefix
/// that names the operation, then the error's description. Any thread.
class Log {
  public:
    virtual ~Log() = default;
    virtual void line(std::string_view text) = 0;
    /// Beside the line: something went wrong that a person can do something about. A log that keeps
    /// no problems drops it.
    virtual void report(const Problem&) {}
    /// What this was reported about is well again, or gone.
    virtual void mended(const ProblemSubject&) {}
    /// A look at all of a kind in a folder: what an earlier session reported may be well by now.
    virtual void surveyed(const ProblemSurvey&) {}
};

}  // namespace nookery
