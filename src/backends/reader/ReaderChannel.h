#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>

#include "backends/reader/ReaderMessage.h"

namespace nookery {

/// How a transfer over a socket ended.
enum class Transfer {
    done,
    closed,   ///< the other end is gone
    late,     ///< the deadline passed
    tooLong,  ///< the other end sends more than is accepted
};

using Deadline = std::optional<std::chrono::steady_clock::time_point>;

/// How long a message may be.
struct MessageBounds {
    std::size_t fieldByteCount = std::size_t{16} << 20;
    std::size_t pixelByteCount = 0;
};

/// Sends a message whole, unless the deadline passes before. Without a deadline it waits as long
/// as the other end lives.
[[nodiscard]] Transfer sendMessage(int socket, std::string_view fields,
                                   std::span<const std::uint8_t> pixels, const Deadline& deadline);

/// Receives a message; takes memory only within the bounds. What `message` holds is of use only
/// when the transfer is done.
[[nodiscard]] Transfer receiveMessage(int socket, ReaderMessage& message,
                                      const MessageBounds& bounds, const Deadline& deadline);

/// Whether bytes, or the end, arrive within the time.
bool isReadableWithin(int socket, std::chrono::milliseconds time);

}  // namespace nookery
