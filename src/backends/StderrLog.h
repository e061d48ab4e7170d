#pragma once

#include "platform/Log.h"

namespace nookery {

/// Writes each line to standard error in one piece, so that lines of several threads do not mix.
/// On a terminal a line of progress that stands there is wiped first.
class StderrLog final : public Log {
  public:
    StderrLog();
    void line(std::string_view text) override;

  private:
    bool isTerminal_;
};

}  // namespace nookery
