#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/Log.h"

namespace nookery::cli {

/// Holds what is logged until the command has ended, so that a failure which the command itself
/// reports is not told twice.
class CommandLog final : public Log {
  public:
    void line(std::string_view text) override;
    /// The lines so far, which it forgets.
    std::vector<std::string> take();
    /// Hands on the lines, but for those that hold `alreadySaid`.
    void release(Log& log, std::string_view alreadySaid);

  private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace nookery::cli
