#include "backends/BothWays.h"

namespace nookery::testing {

ReaderPool& testReaders() {
    static ReaderPool pool({.programs = {NOOKERY_READER}});
    return pool;
}

}  // namespace nookery::testing
