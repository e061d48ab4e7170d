#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/context/CommandContext.h"

namespace nookery::cli {

/// Tells something that has just happened, as one line: a word or two for what it was ("added"),
/// and the rest. Main thread.
using TellEvent = std::function<void(std::string_view event, const std::string& text)>;

/// One of the things that `nookery watch` runs until it is interrupted. Made when the library is
/// open; it may hold on to the session and the store, which outlive it. Main thread.
class WatchPart {
  public:
    virtual ~WatchPart() = default;
    /// Begins, and returns at once. A place that is not there yet is no failure: it is looked for
    /// again. Throws Error when it can never work.
    virtual void start() = 0;
    /// Ends what `start` began: when it has ended nothing of it runs any more and nothing is told.
    /// Called once, after `start`, also when a later part's start failed.
    virtual Coroutine<> stop() = 0;
};

/// All parts, in the order in which they start; they stop in the reverse one.
std::vector<std::unique_ptr<WatchPart>> makeWatchParts(CommandContext& context, CrumbStore& store,
                                                       const TellEvent& tell);

}  // namespace nookery::cli
