#include "backends/sockets/SocketPoller.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>

namespace nookery {
namespace {

using SteadyClock = std::chrono::steady_clock;

/// How long the end of the program waits for others to take what was sent to them.
constexpr std::chrono::seconds lastPatience{2};

}  // namespace

SocketPoller::Channel::~Channel() { ::close(descriptor_); }

SocketPoller::SocketPoller()
    : wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), thread_([this] {
          ::pthread_setname_np(::pthread_self(), "sockets");
          run();
      }) {}

SocketPoller::~SocketPoller() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    wake();
    thread_.join();
    ::close(wakeUp_);
}

SocketPoller::ChannelPointer SocketPoller::add(int descriptor) {
    auto channel = std::make_shared<Channel>(descriptor);
    {
        const std::lock_guard lock(mutex_);
        channels_.push_back(channel);
    }
    wake();
    return channel;
}

void SocketPoller::send(const ChannelPointer& channel, std::string bytes) {
    {
        const std::lock_guard lock(mutex_);
        if (channel->isEnding_ || bytes.empty()) return;
        channel->outgoing_.push_back(std::move(bytes));
    }
    wake();
}

void SocketPoller::whenReadable(const ChannelPointer& channel, std::function<void()> readable) {
    {
        const std::lock_guard lock(mutex_);
        channel->readable_ = std::move(readable);
    }
    wake();
}

void SocketPoller::end(const ChannelPointer& channel) {
    {
        const std::lock_guard lock(mutex_);
        channel->isEnding_ = true;
        channel->readable_ = nullptr;
    }
    wake();
}

void SocketPoller::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeUp_, &one, sizeof one);
}

bool SocketPoller::hasToSend() {
    const std::lock_guard lock(mutex_);
    return std::any_of(channels_.begin(), channels_.end(),
                       [](const auto& channel) { return !channel->outgoing_.empty(); });
}

void SocketPoller::run() {
    const auto isStopping = [&] {
        const std::lock_guard lock(mutex_);
        return isStopping_;
    };
    while (!isStopping()) pollOnce(std::chrono::hours(1));
    const auto deadline = SteadyClock::now() + lastPatience;
    while (hasToSend() && SteadyClock::now() < deadline) pollOnce(std::chrono::milliseconds(50));
}

void SocketPoller::pollOnce(std::chrono::milliseconds patience) {
    std::vector<ChannelPointer> watched;
    std::vector<pollfd> sources{{wakeUp_, POLLIN, 0}};
    {
        const std::lock_guard lock(mutex_);
        std::erase_if(channels_, [](const auto& channel) {
            return channel->isEnding_ && channel->outgoing_.empty();
        });
        for (const ChannelPointer& channel : channels_) {
            const int wanted =
                (channel->readable_ ? POLLIN : 0) | (channel->outgoing_.empty() ? 0 : POLLOUT);
            if (wanted == 0) continue;
            watched.push_back(channel);
            sources.push_back({channel->descriptor(), static_cast<short>(wanted), 0});
        }
    }
    if (::poll(sources.data(), sources.size(), static_cast<int>(patience.count())) <= 0) return;
    std::uint64_t count = 0;
    [[maybe_unused]] const auto taken = ::read(wakeUp_, &count, sizeof count);
    for (std::size_t i = 0; i < watched.size(); ++i) {
        const int seen = sources[i + 1].revents;
        if (seen == 0) continue;
        std::function<void()> readable;
        {
            const std::lock_guard lock(mutex_);
            if ((seen & (POLLOUT | POLLERR | POLLHUP)) != 0) sendSome(*watched[i]);
            if ((seen & (POLLIN | POLLERR | POLLHUP)) != 0) readable = watched[i]->readable_;
        }
        if (readable) readable();
    }
}

void SocketPoller::sendSome(Channel& channel) {
    if (channel.outgoing_.empty()) return;
    const ssize_t sent =
        ::send(channel.descriptor(), channel.outgoing_.front().data() + channel.sent_,
               channel.outgoing_.front().size() - channel.sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent > 0) channel.sent_ += static_cast<std::size_t>(sent);
    if (channel.sent_ == channel.outgoing_.front().size()) {
        channel.outgoing_.pop_front();
        channel.sent_ = 0;
    }
    // The other has left: nobody is there to take the rest.
    if (sent < 0 && errno != EAGAIN && errno != EINTR) channel.outgoing_.clear();
}

}  // namespace nookery
