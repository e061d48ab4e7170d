#pragma once

#include <sys/types.h>

#include <vector>

#include "backends/reader/ReaderSubjects.h"
#include "foundation/FileSystem.h"

namespace nookery {

/// A process of the reader program, and the socket to it. It gets nothing of this process but its
/// environment: no descriptor, no terminal, no signal that the person sends to the program. The
/// destructor ends it. Used by one thread at a time.
class ReaderProcess {
  public:
    /// Runs the first of `programs` that is there, at the calling thread's priority. Throws
    /// FileError when none can be started.
    ReaderProcess(const std::vector<Path>& programs, ReaderSubject subject);
    ~ReaderProcess();
    ReaderProcess(const ReaderProcess&) = delete;
    ReaderProcess& operator=(const ReaderProcess&) = delete;

    ReaderSubject subject() const { return subject_; }
    /// The priority at which it runs: the "nice" value, which cannot be lowered again.
    int niceness() const { return niceness_; }
    int socket() const { return socket_; }
    /// While it has not ended.
    pid_t id() const { return process_; }

    /// Ends the conversation, so that whoever waits for an answer gets none. Any thread.
    void interrupt() const;
    bool hasEnded();
    /// Ends the process, unless it has ended. Returns its wait status.
    int end();

  private:
    ReaderSubject subject_;
    int niceness_;
    int socket_ = -1;
    pid_t process_ = -1;
    int status_ = 0;
};

/// The calling thread's.
int currentNiceness();

}  // namespace nookery
