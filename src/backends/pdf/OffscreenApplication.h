#pragma once

#include <QGuiApplication>
#include <memory>
#include <mutex>

namespace nookery {

/// The application object, which Qt needs for its fonts. Any thread.
class OffscreenApplication {
  public:
    OffscreenApplication() = default;
    OffscreenApplication(const OffscreenApplication&) = delete;
    OffscreenApplication& operator=(const OffscreenApplication&) = delete;

    /// Makes one that needs no display, unless there is one already.
    void demand();

  private:
    std::mutex mutex_;
    int argumentCount_ = 3;
    char programName_[8] = "nookery";
    char platformOption_[10] = "-platform";
    char platformName_[10] = "offscreen";
    char* arguments_[4] = {programName_, platformOption_, platformName_, nullptr};
    std::unique_ptr<QGuiApplication> application_;
};

}  // namespace nookery
