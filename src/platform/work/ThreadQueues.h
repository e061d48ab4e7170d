#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/Log.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// The root of a queue: runs the work, and logs whatever leaves it.
void runLogged(const WorkQueue::Work& work, Log& log);

/// A serial queue on a thread of its own, which debuggers show under `name`. Its destruction drops
/// the work that has not begun and waits for the piece that runs.
std::unique_ptr<WorkQueue> makeThreadQueue(const std::string& name, Log& log);

/// A queue whose work runs on several threads at once, in any order, at the lowest priority. Its
/// destruction does as a thread queue's.
std::unique_ptr<WorkQueue> makeBackgroundPool(const std::string& name, int threadCount, Log& log);

/// The queue of the thread that calls `runUntil`: the main thread of a command-line program.
class LoopQueue : public WorkQueue {
  public:
    /// Runs work as it arrives, until `finished` answers true; it is asked after each piece.
    virtual void runUntil(const std::function<bool()>& finished) = 0;

    /// The longest that one piece of work has taken since this was last asked: what a window's
    /// thread would have been held up for. Without the time that it spent in transactions of a
    /// database.
    virtual std::chrono::nanoseconds takeLongestPiece() = 0;
    /// The longest that the transactions of one piece have taken since this was last asked.
    virtual std::chrono::nanoseconds takeLongestTransactions() = 0;
};

std::unique_ptr<LoopQueue> makeLoopQueue(Log& log);

}  // namespace nookery
