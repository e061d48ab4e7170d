#pragma once

#include <string_view>

namespace nookery {

/// The program's log, for what happens while nobody waits for an answer. A line is a fixed prefix
/// that names the operation, then the error's description. Any thread.
class Log {
  public:
    virtual ~Log() = default;
    virtual void line(std::string_view text) = 0;
};

}  // namespace nookery
