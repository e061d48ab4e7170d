#pragma once

#include <memory>
#include <optional>

#include "foundation/Region.h"
#include "platform/Log.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// The person on whose behalf work is done, where one program works for several: a command of
/// another process. Handed on from a piece of work to the work that it begins, on whatever queue.
struct Caller {
    std::optional<Region> region{};  ///< none: the machine's
    std::weak_ptr<Log> log{};        ///< hears what the work logs, as long as it is there
};

/// While it lives, the work of this thread is done for the caller; null: for the program itself.
class CallerScope {
  public:
    explicit CallerScope(std::shared_ptr<const Caller> caller);
    ~CallerScope();
    CallerScope(const CallerScope&) = delete;
    CallerScope& operator=(const CallerScope&) = delete;

    /// Of the calling thread.
    static const std::shared_ptr<const Caller>& current();

  private:
    std::shared_ptr<const Caller> before_;
    RegionScope region_;
};

/// The work, done for the caller of the thread that calls this: for queues.
WorkQueue::Work forCurrentCaller(WorkQueue::Work work);

}  // namespace nookery
