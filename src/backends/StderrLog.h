#pragma once

#include "platform/Log.h"

namespace nookery {

/// Writes each line to standard error in one piece, so that lines of several threads do not mix.
/// On a terminal it wipes the line of progress first.
class StderrLog final : public Log {
  public:
    StderrLog();
    void line(std::string_view text) override;

  private:
    bool isTerminal_;
};

}  // namespace nookery
