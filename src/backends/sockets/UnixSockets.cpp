#include "backends/sockets/UnixSockets.h"

#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include "backends/sockets/SocketPoller.h"
#include "foundation/Error.h"

namespace nookery {
namespace {

constexpr int backlog = 64;
constexpr WorkQueue::Delay pauseWithoutDescriptors{1};

/// None when the name is too long for a socket.
std::optional<sockaddr_un> addressOf(const Path& place) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string& name = place.native();
    if (name.size() >= sizeof address.sun_path) return std::nullopt;
    std::copy(name.begin(), name.end(), address.sun_path);
    return address;
}

void makeFolder(const Path& folder) {
    if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        throw FileError("create", folder, errno);
    }
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) throw FileError("read", folder, errno);
    const bool isOurs =
        S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() && (status.st_mode & 077) == 0;
    if (!isOurs) {
        throw Error(fmt::format("{} is not this user's alone; remove it, so that it is made anew.",
                                displayName(folder)));
    }
}

bool isThisUsers(int descriptor) {
    ucred peer{};
    socklen_t size = sizeof peer;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

/// Tells a file from another of the same name; zeros when there is none.
using Identity = std::pair<dev_t, ino_t>;

Identity identityOf(const Path& place) {
    struct stat status {};
    return ::lstat(place.c_str(), &status) == 0 ? Identity(status.st_dev, status.st_ino)
                                                : Identity();
}

/// Closes a descriptor that nobody takes.
class OwnedDescriptor {
  public:
    explicit OwnedDescriptor(int descriptor) : descriptor_(descriptor) {}
    ~OwnedDescriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    int release() { return std::exchange(descriptor_, -1); }

  private:
    int descriptor_;
};

/// The bytes that are there; none when the other has left.
std::string readWhatIsThere(int descriptor, bool& hasLeft) {
    std::string bytes(std::size_t{64} << 10, '\0');
    const ssize_t count = ::recv(descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT);
    hasLeft = count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return bytes;
}

class UnixConnection final : public LocalConnection {
  public:
    UnixConnection(int descriptor, std::shared_ptr<SocketPoller> poller, WorkQueue& mainQueue)
        : poller_(std::move(poller)), channel_(poller_->add(descriptor)), mainQueue_(mainQueue) {}
    ~UnixConnection() override { poller_->end(channel_); }

    void send(std::string bytes) override { poller_->send(channel_, std::move(bytes)); }

    void follow(std::function<void(std::string_view)> received) override {
        const std::function<void(const std::string&)> handOn =
            guard_.guarded([received = std::move(received)](const std::string& bytes) {
                // It may destroy the connection, but not itself while it runs.
                const auto running = received;
                running(bytes);
            });
        // Weak, since the channel keeps what it calls.
        const std::weak_ptr<SocketPoller::Channel> channel = channel_;
        SocketPoller* const poller = poller_.get();
        poller_->whenReadable(channel_, [channel, handOn, poller, &queue = mainQueue_] {
            const auto open = channel.lock();
            if (!open) return;
            bool hasLeft = false;
            const std::string bytes = readWhatIsThere(open->descriptor(), hasLeft);
            if (hasLeft) poller->whenReadable(open, nullptr);
            if (hasLeft || !bytes.empty()) queue.async([handOn, bytes] { handOn(bytes); });
        });
    }

  private:
    std::shared_ptr<SocketPoller> poller_;
    SocketPoller::ChannelPointer channel_;
    WorkQueue& mainQueue_;
    CallbackGuard guard_;
};

class UnixListener final : public LocalListener {
  public:
    UnixListener(int descriptor, Path place, std::shared_ptr<SocketPoller> poller,
                 WorkQueue& mainQueue, LocalSockets::Accepted accepted)
        : place_(std::move(place)),
          identity_(identityOf(place_)),
          poller_(std::move(poller)),
          channel_(poller_->add(descriptor)),
          mainQueue_(mainQueue),
          accepted_(std::move(accepted)) {
        greet_ = guard_.guarded([this](int connected) {
            accepted_(std::make_unique<UnixConnection>(connected, poller_, mainQueue_));
        });
        again_ = guard_.guarded([this] { accept(); });
        accept();
    }
    ~UnixListener() override {
        // Another process may listen in this place by now.
        if (identityOf(place_) == identity_) ::unlink(place_.c_str());
        poller_->end(channel_);
    }

  private:
    void accept() {
        poller_->whenReadable(channel_, [listening = channel_->descriptor(), poller = poller_.get(),
                                         weak = std::weak_ptr(channel_), greet = greet_,
                                         &queue = mainQueue_, again = again_] {
            const int connected =
                ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (connected >= 0) {
                auto descriptor = std::make_shared<OwnedDescriptor>(connected);
                if (!isThisUsers(connected)) return;
                queue.async([greet, descriptor] { greet(descriptor->release()); });
            } else if (const auto channel = weak.lock(); channel && errno != EAGAIN) {
                // No descriptor is left: it is tried again when there may be one.
                poller->whenReadable(channel, nullptr);
                queue.after(pauseWithoutDescriptors, again);
            }
        });
    }

    Path place_;
    Identity identity_;
    std::shared_ptr<SocketPoller> poller_;
    SocketPoller::ChannelPointer channel_;
    WorkQueue& mainQueue_;
    LocalSockets::Accepted accepted_;
    std::function<void(int)> greet_;
    std::function<void()> again_;
    CallbackGuard guard_;
};

}  // namespace

UnixSockets::UnixSockets(WorkQueue& mainQueue) : mainQueue_(mainQueue) {}

UnixSockets::~UnixSockets() = default;

std::unique_ptr<LocalListener> UnixSockets::listen(const Path& place, Accepted accepted) {
    const auto address = addressOf(place);
    if (!address) throw FileError("listen at", place, ENAMETOOLONG);
    makeFolder(place.parent_path());
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor < 0) throw FileError("create", place, errno);
    ::unlink(place.c_str());
    const bool listens =
        ::bind(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0 &&
        ::chmod(place.c_str(), 0600) == 0 && ::listen(descriptor, backlog) == 0;
    if (!listens) {
        const int failure = errno;
        ::close(descriptor);
        throw FileError("listen at", place, failure);
    }
    if (!poller_) poller_ = std::make_shared<SocketPoller>();
    return std::make_unique<UnixListener>(descriptor, place, poller_, mainQueue_,
                                          std::move(accepted));
}

int connectToSocket(const Path& place) {
    const auto address = addressOf(place);
    if (!address) return -1;
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return -1;
    const bool isConnected =
        ::connect(descriptor, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
    if (isConnected && isThisUsers(descriptor)) return descriptor;
    ::close(descriptor);
    return -1;
}

}  // namespace nookery
