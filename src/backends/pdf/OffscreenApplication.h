#pragma once

#include <future>
#include <mutex>
#include <thread>

namespace nookery {

/// The application object without which Qt has no fonts. Qt wants it made and destroyed on one
/// thread, and documents are drawn on any: so it gets a thread of its own. Any thread.
class OffscreenApplication {
  public:
    OffscreenApplication() = default;
    OffscreenApplication(const OffscreenApplication&) = delete;
    OffscreenApplication& operator=(const OffscreenApplication&) = delete;
    ~OffscreenApplication();

    /// Makes one that needs no display, unless there is one already.
    void demand();

  private:
    void hold(std::promise<void>& isMade, const std::future<void>& isOver);

    std::mutex mutex_;
    int argumentCount_ = 3;
    char programName_[8] = "nookery";
    char platformOption_[10] = "-platform";
    char platformName_[10] = "offscreen";
    char* arguments_[4] = {programName_, platformOption_, platformName_, nullptr};
    std::promise<void> isOver_;
    std::thread holder_;
};

}  // namespace nookery
