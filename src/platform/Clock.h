#pragma once

#include "foundation/Timestamp.h"

namespace nookery {

/// The wall clock. It may jump in either direction at any time. Any thread.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual Timestamp now() const = 0;
};

}  // namespace nookery
