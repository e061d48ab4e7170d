#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nookery {

/// One thread that waits for sockets to have something to read or room to write.
class SocketPoller {
  public:
    /// One socket, closed with the last who knows it. Any thread.
    class Channel {
      public:
        explicit Channel(int descriptor) : descriptor_(descriptor) {}
        ~Channel();
        Channel(const Channel&) = delete;
        Channel& operator=(const Channel&) = delete;

        int descriptor() const { return descriptor_; }

      private:
        friend class SocketPoller;

        const int descriptor_;
        // Guarded by the poller's mutex.
        std::deque<std::string> outgoing_;
        std::size_t sent_ = 0;            ///< of the first piece
        std::function<void()> readable_;  ///< none: nobody reads
        bool isEnding_ = false;           ///< is let go of once nothing is left to send
    };
    using ChannelPointer = std::shared_ptr<Channel>;

    SocketPoller();
    /// Waits, not for long, until what was sent has gone out.
    ~SocketPoller();
    SocketPoller(const SocketPoller&) = delete;
    SocketPoller& operator=(const SocketPoller&) = delete;

    ChannelPointer add(int descriptor);
    void send(const ChannelPointer& channel, std::string bytes);
    /// Calls `readable` on the poller's thread whenever there is something to read, or the other
    /// has left; until it is called with none.
    void whenReadable(const ChannelPointer& channel, std::function<void()> readable);
    /// Lets go of the channel once what was sent has gone out.
    void end(const ChannelPointer& channel);

  private:
    void run();
    void pollOnce(std::chrono::milliseconds patience);
    void sendSome(Channel& channel);
    bool hasToSend();
    void wake() const;

    std::mutex mutex_;
    std::vector<ChannelPointer> channels_;
    bool isStopping_ = false;
    int wakeUp_;
    std::thread thread_;
};

}  // namespace nookery
