#pragma once

#include "foundation/Error.h"

namespace nookery {

/// A field report that is not what it should be, or that cannot be worked on.
class FieldReportError : public Error {
  public:
    using Error::Error;
};

}  // namespace nookery
