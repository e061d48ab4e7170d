#pragma once

namespace nookery {

/// Sees to it that there is the application object without which Qt has no fonts: makes one that
/// needs no display, unless there is one already. Documents are drawn on any thread, and it gets
/// one of its own. Both stay as long as the process does, since what Qt has loaded meanwhile refers
/// to that thread to the very end. Any thread.
void demandOffscreenApplication();

}  // namespace nookery
