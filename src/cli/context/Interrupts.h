#pragma once

#include <atomic>
#include <functional>
#include <stop_token>
#include <thread>

namespace nookery::cli {

/// Turns Ctrl-C (and the signals to end) into a request to stop, so that work ends where it is
/// whole. A second one ends the program at once, which the library survives as it does a killed
/// process. Make one before any thread, since it blocks the signals for all of them. A closed pipe
/// on standard output is an error of the write, not a signal.
class Interrupts {
  public:
    Interrupts();
    ~Interrupts();
    Interrupts(const Interrupts&) = delete;
    Interrupts& operator=(const Interrupts&) = delete;

    std::stop_token token() const { return stop_.get_token(); }
    /// Readable from the first interrupt on: what waits for input waits for this too.
    int descriptor() const { return interrupted_; }

  private:
    void watch(const std::stop_token& ending);

    std::stop_source stop_;
    int signals_;
    int interrupted_;
    int ending_;
    std::jthread watcher_;
};

}  // namespace nookery::cli
