#pragma once

#include <memory>

#include "platform/LocalSocket.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

class SocketPoller;

/// Sockets of the kernel that have a name in the file system.
class UnixSockets final : public LocalSockets {
  public:
    explicit UnixSockets(WorkQueue& mainQueue);
    /// What was sent goes out first, unless the others take too long.
    ~UnixSockets() override;

    std::unique_ptr<LocalListener> listen(const Path& place, Accepted accepted) override;

  private:
    WorkQueue& mainQueue_;
    std::shared_ptr<SocketPoller> poller_;  ///< its thread begins with the first listener
};

/// A descriptor connected to the process of this user that listens there; -1 when none does.
int connectToSocket(const Path& place);

}  // namespace nookery
