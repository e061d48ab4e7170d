#pragma once

#include <memory>

#include "platform/Log.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

/// The main thread's queue on the event loop of the application object, for a program that has
/// windows. Work runs a few milliseconds at a time, so that input and painting come in between; no
/// nested loop is ever entered. Make it, run the loop and destroy it on the main thread, while the
/// application object lives; work that has not begun by then is dropped.
std::unique_ptr<WorkQueue> makeQtMainQueue(Log& log);

}  // namespace nookery
