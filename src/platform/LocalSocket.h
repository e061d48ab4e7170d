#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/FileSystem.h"

namespace nookery {

/// A conversation with another process of the same user on this machine. Its destruction ends it,
/// once what was sent has gone out or the other has left. Main thread.
class LocalConnection {
  public:
    virtual ~LocalConnection() = default;

    /// Goes out in order, now or later. Dropped when the other has left.
    virtual void send(std::string bytes) = 0;
    /// From now on `received` is called with what comes, on the main thread, and with nothing once
    /// the other has left. It may destroy the connection. Call once.
    virtual void follow(std::function<void(std::string_view)> received) = 0;
};

/// A place where other processes of the same user begin conversations. Its destruction removes the
/// place. Main thread.
class LocalListener {
  public:
    virtual ~LocalListener() = default;
};

class LocalSockets {
  public:
    virtual ~LocalSockets() = default;

    using Accepted = std::function<void(std::unique_ptr<LocalConnection>)>;
    /// Makes the socket, and the folder that it lies in, for this user alone, in place of one that
    /// an ended process left behind: the caller sees to it that no other process listens there.
    /// Another user who gets through is turned away. Throws Error, also when the folder is not
    /// this user's alone.
    virtual std::unique_ptr<LocalListener> listen(const Path& place, Accepted accepted) = 0;
};

}  // namespace nookery
