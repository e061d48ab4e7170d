#include "cli/context/Interrupts.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>

#include "cli/line/Command.h"

namespace nookery::cli {
namespace {

void raiseFlag(int descriptor) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(descriptor, &one, sizeof one);
}

}  // namespace

Interrupts::Interrupts() {
    ::signal(SIGPIPE, SIG_IGN);
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&set, signal);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signals_ = ::signalfd(-1, &set, SFD_CLOEXEC);
    interrupted_ = ::eventfd(0, EFD_CLOEXEC);
    ending_ = ::eventfd(0, EFD_CLOEXEC);
    watcher_ = std::jthread([this](const std::stop_token& ending) { watch(ending); });
}

Interrupts::~Interrupts() {
    watcher_.request_stop();
    raiseFlag(ending_);
    watcher_.join();
    for (const int descriptor : {signals_, interrupted_, ending_}) ::close(descriptor);
}

void Interrupts::watch(const std::stop_token& ending) {
    std::array<pollfd, 2> sources{pollfd{signals_, POLLIN, 0}, pollfd{ending_, POLLIN, 0}};
    while (!ending.stop_requested()) {
        if (::poll(sources.data(), sources.size(), -1) < 0) continue;
        if ((sources[0].revents & POLLIN) == 0) continue;
        signalfd_siginfo signal{};
        if (::read(signals_, &signal, sizeof signal) != sizeof signal) continue;
        if (stop_.stop_requested()) ::_exit(exitInterrupted);
        stop_.request_stop();
        raiseFlag(interrupted_);
    }
}

}  // namespace nookery::cli
