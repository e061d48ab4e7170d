#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

namespace nookery {

/// How vectors stand in the databases: consecutive 8-byte IEEE-754 doubles in little-endian order,
/// no header; a rest of fewer than 8 bytes is not an element.
static_assert(std::endian::native == std::endian::little, "vectors are stored as they lie");

inline std::span<const std::byte> toVectorBlob(std::span<const double> vector) {
    return std::as_bytes(vector);
}

/// Replaces `vector`, whose memory is used again.
inline void fromVectorBlob(std::span<const std::byte> blob, std::vector<double>& vector) {
    vector.resize(blob.size() / sizeof(double));
    if (!vector.empty()) std::memcpy(vector.data(), blob.data(), vector.size() * sizeof(double));
}

}  // namespace nookery
