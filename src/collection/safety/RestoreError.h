#pragma once

#include "foundation/Error.h"

namespace nookery {

/// A snapshot or an archive that is not fit to be restored, or a restore that cannot go on.
class RestoreError : public Error {
  public:
    using Error::Error;
};

}  // namespace nookery
