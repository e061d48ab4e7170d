#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace nookery {

/// A 128-bit identifier (RFC 4122). Written as 36 upper-case characters in databases, file names
/// and JSON; read in either case.
class Uuid {
  public:
    using Bytes = std::array<std::uint8_t, 16>;

    /// The nil identifier; no memory ever has it.
    constexpr Uuid() = default;
    constexpr explicit Uuid(const Bytes& bytes) : bytes_(bytes) {}

    /// A new random (version 4) identifier from the kernel's random source. Any thread.
    static Uuid random();

    /// Reads the canonical 8-4-4-4-12 form only; anything else gives none.
    static std::optional<Uuid> parse(std::string_view text);

    std::string toString() const;
    const Bytes& bytes() const { return bytes_; }

    auto operator<=>(const Uuid&) const = default;

  private:
    Bytes bytes_{};
};

}  // namespace nookery

template <>
struct std::hash<nookery::Uuid> {
    /// Random identifiers are their own hash.
    std::size_t operator()(const nookery::Uuid& id) const noexcept {
        std::uint64_t high = 0;
        std::uint64_t low = 0;
        std::memcpy(&high, id.bytes().data(), sizeof high);
        std::memcpy(&low, id.bytes().data() + sizeof high, sizeof low);
        return high ^ (low * 0x9e3779b97f4a7c15ULL);
    }
};
