#pragma once

#ifdef NOOKERY_CHECK_THREADS
#include <cstdio>
#include <cstdlib>
#include <thread>
#endif

namespace nookery {

/// Checks that an object is used on one thread only: the one that made the check. In developers'
/// builds and under sanitizers a call of `demand` from another thread ends the program. In a
/// release it costs nothing.
class ThreadCheck {
  public:
#ifdef NOOKERY_CHECK_THREADS
    void demand() const {
        if (std::this_thread::get_id() == owner_) return;
        std::fputs("nookery: used on a thread that it does not belong to\n", stderr);
        std::abort();
    }

  private:
    std::thread::id owner_ = std::this_thread::get_id();
#else
    void demand() const {}
#endif
};

}  // namespace nookery
