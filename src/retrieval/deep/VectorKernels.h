#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace nookery {

/// Quantised rows are padded with zeros to a multiple of this many bytes, so that no kernel needs a
/// loop for a remainder.
constexpr std::size_t quantisedRowAlignment = 32;

/// Writes to `results` the dot products of a quantised query with `rowCount` rows. The rows lie one
/// after another and are `rowByteCount` long, a multiple of quantisedRowAlignment. No value may be
/// -128.
using DotProducts = void (*)(const std::int8_t* query, const std::int8_t* rows,
                             std::size_t rowByteCount, std::size_t rowCount, std::int32_t* results);

/// For any processor.
void dotProductsPortable(const std::int8_t* query, const std::int8_t* rows,
                         std::size_t rowByteCount, std::size_t rowCount, std::int32_t* results);
/// None on a processor without AVX2.
std::optional<DotProducts> dotProductsAvx2();
/// The fastest version for this processor. All versions give the same results.
DotProducts fastestDotProducts();

/// The cosine of the angle between two vectors, in double. None when the lengths differ or either
/// squared norm is not above 0.
std::optional<double> cosine(std::span<const double> a, std::span<const double> b);
std::optional<double> cosine(std::span<const double> a, std::span<const float> b);

}  // namespace nookery
