#include "foundation/Uuid.h"

#include <sys/random.h>

#include <cerrno>

#include "foundation/Error.h"

namespace nookery {
namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEF";

constexpr bool hyphenStandsBefore(std::size_t byteIndex) {
    return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

Uuid Uuid::random() {
    Bytes bytes;
    // Requests of up to 256 bytes are never short once the kernel's pool is initialised.
    while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        if (errno != EINTR) throw Error("The system's random source is unavailable.");
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0f) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3f) | 0x80);
    return Uuid(bytes);
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    Bytes bytes{};
    std::size_t position = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (hyphenStandsBefore(i) && text[position++] != '-') return std::nullopt;
        const int high = hexValue(text[position++]);
        const int low = hexValue(text[position++]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return Uuid(bytes);
}

std::string Uuid::toString() const {
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
        if (hyphenStandsBefore(i)) text += '-';
        text += hexDigits[bytes_[i] >> 4];
        text += hexDigits[bytes_[i] & 0x0f];
    }
    return text;
}

}  // namespace nookery
