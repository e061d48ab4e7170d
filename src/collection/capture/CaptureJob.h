#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "collection/capture/Capture.h"
#include "collection/capture/CaptureWork.h"

namespace nookery {

/// One request while it waits and runs. Main thread, but for `work`, which is the capture queue's.
struct CaptureJob {
    std::shared_ptr<CaptureWork> work;
    std::function<void(const CaptureProgress&)> progress;
    std::function<void(const CaptureReport&)> finished;

    CaptureReport report;
    std::size_t doneCount = 0;
    std::size_t foundCount = 0;

    /// Stops for the person's reason or for ours.
    std::stop_source stop;
    std::optional<std::stop_callback<std::function<void()>>> relay;
};

}  // namespace nookery
