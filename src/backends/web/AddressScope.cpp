#include "backends/web/AddressScope.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace nookery {
namespace {

using Bytes = std::array<std::uint8_t, 16>;

struct Range4 {
    std::uint32_t start;
    int bits;
};
constexpr std::array<Range4, 12> localRanges4{{{0x00000000, 8},    // this network
                                               {0x0A000000, 8},    // private
                                               {0x64400000, 10},   // shared by a carrier
                                               {0x7F000000, 8},    // loopback
                                               {0xA9FE0000, 16},   // link-local
                                               {0xAC100000, 12},   // private
                                               {0xC0000000, 24},   // protocol assignments
                                               {0xC0000200, 24},   // documentation
                                               {0xC0A80000, 16},   // private
                                               {0xC6120000, 15},   // benchmarks
                                               {0xE0000000, 4},    // multicast
                                               {0xF0000000, 4}}};  // reserved

bool isLocal4(std::uint32_t address) {
    return std::any_of(localRanges4.begin(), localRanges4.end(), [address](const Range4& range) {
        return (address ^ range.start) >> (32 - range.bits) == 0;
    });
}

std::uint32_t wrapped4(const Bytes& address, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | address[offset + i];
    return value;
}

template <std::size_t Count>
bool startsWith(const Bytes& address, const std::array<std::uint8_t, Count>& start) {
    return std::equal(start.begin(), start.end(), address.begin());
}

bool isLocal6(const Bytes& address) {
    constexpr std::array<std::uint8_t, 12> mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    constexpr std::array<std::uint8_t, 12> translated{0x00, 0x64, 0xFF, 0x9B};
    constexpr std::array<std::uint8_t, 2> sixToFour{0x20, 0x02};
    if (startsWith(address, mapped) || startsWith(address, translated)) {
        return isLocal4(wrapped4(address, 12));
    }
    if (startsWith(address, sixToFour)) return isLocal4(wrapped4(address, 2));
    // Of all the rest only 2000::/3 is public, without its tunnels through 2001::/32.
    constexpr std::array<std::uint8_t, 4> tunnel{0x20, 0x01, 0x00, 0x00};
    return (address[0] & 0xE0) != 0x20 || startsWith(address, tunnel);
}

}  // namespace

bool isLocalAddress(const sockaddr& address) {
    if (address.sa_family == AF_INET) {
        sockaddr_in four{};
        std::memcpy(&four, &address, sizeof four);
        return isLocal4(ntohl(four.sin_addr.s_addr));
    }
    if (address.sa_family != AF_INET6) return true;
    sockaddr_in6 six{};
    std::memcpy(&six, &address, sizeof six);
    Bytes bytes{};
    std::memcpy(bytes.data(), &six.sin6_addr, bytes.size());
    return isLocal6(bytes);
}

}  // namespace nookery
