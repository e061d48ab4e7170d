#include "backends/files/InotifyDirectoryEvents.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/work/WorkQueue.h"

namespace nookery {
namespace {

/// The kernel reports writing when the file is closed, not at each step: a large file on its way
/// would keep the watcher awake.
constexpr std::uint32_t watchedEvents = IN_CREATE | IN_MOVED_TO | IN_CLOSE_WRITE | IN_ATTRIB |
                                        IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr std::uint32_t goneEvents = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;
constexpr std::size_t bufferByteCount = 64 << 10;

class Descriptor {
  public:
    Descriptor(int number, const Path& folder) : number_(number) {
        if (number < 0) throw FileError("watch", folder, errno);
    }
    ~Descriptor() { ::close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int number() const { return number_; }

  private:
    int number_;
};

class InotifyWatch final : public DirectoryWatch {
  public:
    InotifyWatch(const Path& folder, WorkQueue& queue, DirectoryEvents::Handler handler)
        : events_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK), folder),
          ending_(::eventfd(0, EFD_CLOEXEC), folder),
          queue_(queue),
          handler_(std::make_shared<const DirectoryEvents::Handler>(std::move(handler))) {
        if (::inotify_add_watch(events_.number(), folder.c_str(), watchedEvents) < 0) {
            throw FileError("watch", folder, errno);
        }
        thread_ = std::jthread([this](const std::stop_token& stop) {
            ::pthread_setname_np(::pthread_self(), "folder watch");
            run(stop);
        });
    }

    ~InotifyWatch() override {
        thread_.request_stop();
        const std::uint64_t one = 1;
        [[maybe_unused]] const auto written = ::write(ending_.number(), &one, sizeof one);
        thread_.join();
    }

  private:
    void run(const std::stop_token& stop) {
        std::array<pollfd, 2> sources{pollfd{events_.number(), POLLIN, 0},
                                      pollfd{ending_.number(), POLLIN, 0}};
        while (true) {
            const int ready = ::poll(sources.data(), sources.size(), -1);
            if (stop.stop_requested()) return;
            if (ready > 0 && !reportWhatHappened()) return;
        }
    }

    /// False when nothing more will happen.
    bool reportWhatHappened() {
        alignas(inotify_event) std::array<char, bufferByteCount> buffer;
        const ssize_t byteCount = ::read(events_.number(), buffer.data(), buffer.size());
        if (byteCount <= 0) return byteCount < 0 && (errno == EAGAIN || errno == EINTR);
        DirectoryReport report;
        for (std::size_t at = 0; at < static_cast<std::size_t>(byteCount);) {
            inotify_event event;
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const char* name = buffer.data() + at + sizeof event;
            if (event.len > 0) report.names.emplace_back(name);
            report.overflowed |= (event.mask & IN_Q_OVERFLOW) != 0;
            report.isGone |= (event.mask & goneEvents) != 0;
            at += sizeof event + event.len;
        }
        const bool isGone = report.isGone;
        queue_.async([handler = handler_, report = std::move(report)] { (*handler)(report); });
        return !isGone;
    }

    Descriptor events_;
    Descriptor ending_;
    WorkQueue& queue_;
    std::shared_ptr<const DirectoryEvents::Handler> handler_;
    std::jthread thread_;
};

class InotifyDirectoryEvents final : public DirectoryEvents {
  public:
    std::unique_ptr<DirectoryWatch> watch(const Path& folder, WorkQueue& queue,
                                          Handler handler) override {
        return std::make_unique<InotifyWatch>(folder, queue, std::move(handler));
    }
};

}  // namespace

std::unique_ptr<DirectoryEvents> makeInotifyDirectoryEvents() {
    return std::make_unique<InotifyDirectoryEvents>();
}

}  // namespace nookery
