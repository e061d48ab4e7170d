#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace nookery {

/// The number of bytes to which quantised rows are padded with zeros, so that no kernel needs a
/// remainder loop.
constexpr std::size_t quantisedRowAlignment = 32;

/// Dot products of one quantised query with `rowCount` rows that lie one after another, each
/// `rowByteCount` long (a multiple of quantisedRowAlignment). No value may be -128. Writes
/// `rowCount` results.
using DotProducts = void (*)(const std::int8_t* query, const std::int8_t* rows,
                             std::size_t rowByteCount, std::size_t rowCount, std::int32_t* results);

/// Runs on any machine.
void dotProductsPortable(const std::int8_t* query, const std::int8_t* rows,
                         std::size_t rowByteCount, std::size_t rowCount, std::int32_t* results);
/// None where the processor lacks AVX2.
std::optional<DotProducts> dotProductsAvx2();
/// The fastest that this machine's processor can run; all give the same results.
DotProducts fastestDotProducts();

/// The cosine of the angle between two vectors, in double. None when the lengths differ or either
/// squared norm is not above 0.
std::optional<double> cosine(std::span<const double> a, std::span<const double> b);
std::optional<double> cosine(std::span<const double> a, std::span<const float> b);

}  // namespace nookery
