#include "foundation/Base64.h"

#include <algorithm>
#include <cstdint>

namespace nookery {
namespace {

constexpr std::string_view digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string toBase64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? digits[group >> (18 - 6 * k) & 63] : '=';
        }
    }
    return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
    std::string bytes;
    std::uint32_t group = 0;
    std::size_t count = 0;
    std::size_t padding = 0;
    for (const char c : text) {
        if (c == ' ' || (c >= '\t' && c <= '\r')) continue;
        const std::size_t value = c == '=' ? 0 : digits.find(c);
        if (value == std::string_view::npos || (padding > 0 && c != '=')) return std::nullopt;
        padding += c == '=' ? 1 : 0;
        group = group << 6 | static_cast<std::uint32_t>(value);
        if (++count % 4 != 0) continue;
        for (const int shift : {16, 8, 0}) bytes += static_cast<char>(group >> shift & 0xff);
    }
    if (count % 4 != 0 || padding > 2) return std::nullopt;
    bytes.resize(bytes.size() - padding);
    return bytes;
}

}  // namespace nookery
