#pragma once

#include "foundation/Error.h"

namespace nookery {

/// What was given cannot be carried out, whatever the library holds: wrong usage, as opposed to a
/// failure.
class InvalidInput : public Error {
  public:
    using Error::Error;
};

}  // namespace nookery
