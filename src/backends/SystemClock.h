#pragma once

#include "platform/Clock.h"

namespace nookery {

/// The machine's clock, to the microsecond.
class SystemClock final : public Clock {
  public:
    Timestamp now() const override;
};

}  // namespace nookery
