#pragma once

#ifdef NOOKERY_CHECK_THREADS
#include <cstdio>
#include <cstdlib>
#include <thread>
#endif

namespace nookery {

/// Holds what is confined to one thread to that: the thread that made the check. In the developer's
/// build and under sanitizers a wrong thread ends the program; elsewhere this costs nothing.
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
