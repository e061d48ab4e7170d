#include "backends/reader/ReaderChannel.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace nookery {
namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

/// For poll: -1 without a deadline.
int millisecondsLeft(const Deadline& deadline) {
    if (!deadline) return -1;
    const auto left = std::chrono::ceil<milliseconds>(*deadline - SteadyClock::now()).count();
    return static_cast<int>(std::clamp<long>(left, 0, INT_MAX));
}

bool mustWait(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
}

/// False when the deadline passes first.
bool waitFor(int socket, short event, const Deadline& deadline) {
    pollfd source{socket, event, 0};
    const int result = ::poll(&source, 1, millisecondsLeft(deadline));
    return result != 0;
}

/// Moves all bytes by `step`, which moves some of them or none.
template <typename Byte, typename Step>
Transfer moveAll(int socket, short event, std::span<Byte> bytes, const Deadline& deadline,
                 const Step& step) {
    while (!bytes.empty()) {
        const ssize_t moved = step(bytes);
        if (mustWait(moved)) {
            if (!waitFor(socket, event, deadline)) return Transfer::late;
            continue;
        }
        if (moved <= 0) return Transfer::closed;
        bytes = bytes.subspan(static_cast<std::size_t>(moved));
    }
    return Transfer::done;
}

Transfer sendAll(int socket, std::span<const std::byte> bytes, const Deadline& deadline) {
    return moveAll(socket, POLLOUT, bytes, deadline, [socket](std::span<const std::byte> rest) {
        return ::send(socket, rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    });
}

Transfer receiveAll(int socket, std::span<std::byte> bytes, const Deadline& deadline) {
    return moveAll(socket, POLLIN, bytes, deadline, [socket](std::span<std::byte> rest) {
        return ::recv(socket, rest.data(), rest.size(), MSG_DONTWAIT);
    });
}

using Lengths = std::array<std::uint64_t, 2>;

}  // namespace

Transfer sendMessage(int socket, std::string_view fields, std::span<const std::uint8_t> pixels,
                     const Deadline& deadline) {
    const Lengths lengths{fields.size(), pixels.size()};
    const std::array<std::span<const std::byte>, 3> parts{
        std::as_bytes(std::span(lengths)), std::as_bytes(std::span(fields)), std::as_bytes(pixels)};
    for (const std::span<const std::byte> bytes : parts) {
        const Transfer sent = sendAll(socket, bytes, deadline);
        if (sent != Transfer::done) return sent;
    }
    return Transfer::done;
}

Transfer receiveMessage(int socket, ReaderMessage& message, const MessageBounds& bounds,
                        const Deadline& deadline) {
    Lengths lengths{};
    Transfer received = receiveAll(socket, std::as_writable_bytes(std::span(lengths)), deadline);
    if (received != Transfer::done) return received;
    if (lengths[0] > bounds.fieldByteCount || lengths[1] > bounds.pixelByteCount) {
        return Transfer::tooLong;
    }
    message.fields.resize(lengths[0]);
    received = receiveAll(socket, std::as_writable_bytes(std::span(message.fields)), deadline);
    if (received != Transfer::done) return received;
    message.pixels.resize(lengths[1]);
    return receiveAll(socket, std::as_writable_bytes(std::span(message.pixels)), deadline);
}

bool isReadableWithin(int socket, milliseconds time) {
    const Deadline deadline = SteadyClock::now() + time;
    pollfd source{socket, POLLIN, 0};
    int result = -1;
    do {
        result = ::poll(&source, 1, millisecondsLeft(deadline));
    } while (result < 0 && errno == EINTR);
    return result > 0;
}

}  // namespace nookery
