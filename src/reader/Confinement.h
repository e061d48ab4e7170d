#pragma once

#include "backends/reader/ReaderSubjects.h"

namespace nookery {

/// Gives up what this process does not need: new privileges, core files, writing to files, and,
/// unless its subject is the web, connections. What the kernel cannot take away stays, and is no
/// error. Call before other threads start.
void confine(ReaderSubject subject);

/// The kernel ends the process by a signal once it has used up this much processor time from now
/// on, and gives it no more than this much memory.
void limitWhatFollows(const ReaderBounds& bounds);

/// Starts a thread that ends the process at once when the other end of the socket is closed, in the
/// middle of any work.
void endWith(int socket);

}  // namespace nookery
