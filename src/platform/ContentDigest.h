#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace nookery {

/// The SHA-256 of some bytes.
struct Sha256Digest {
    std::array<std::uint8_t, 32> bytes{};

    std::string toHex() const {  ///< 64 lower-case digits
        constexpr char digits[] = "0123456789abcdef";
        std::string text;
        text.reserve(64);
        for (const std::uint8_t byte : bytes) {
            text += digits[byte >> 4];
            text += digits[byte & 0x0f];
        }
        return text;
    }
    auto operator<=>(const Sha256Digest&) const = default;
};

/// Digests a stream of bytes. One use each.
class Sha256Stream {
  public:
    virtual ~Sha256Stream() = default;
    virtual void update(std::span<const std::byte> bytes) = 0;
    virtual Sha256Digest finish() = 0;
};

class ContentDigester {
  public:
    virtual ~ContentDigester() = default;
    virtual std::unique_ptr<Sha256Stream> sha256() const = 0;  ///< any thread
};

}  // namespace nookery
