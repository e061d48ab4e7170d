#include "backends/SystemClock.h"

#include <chrono>

namespace nookery {

Timestamp SystemClock::now() const {
    using namespace std::chrono;
    const auto sinceEpoch = system_clock::now().time_since_epoch();
    return {static_cast<double>(duration_cast<microseconds>(sinceEpoch).count()) / 1e6};
}

}  // namespace nookery
