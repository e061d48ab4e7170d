#pragma once

#include <string_view>

namespace nookery {

/// Where the program says what happened behind the user's back: one line each, a fixed prefix
/// naming the operation, then the error's description. Any thread.
class Log {
  public:
    virtual ~Log() = default;
    virtual void line(std::string_view text) = 0;
};

}  // namespace nookery
