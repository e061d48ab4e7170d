#pragma once

#include <cstddef>
#include <cstdint>

namespace nookery::encoder {

/// Weights are kept in panels of this many columns; every matrix of the model is so many wide.
inline constexpr std::size_t panelColumns = 16;

/// The sum of 1,536 products of an int8 weight and an activation of this size still fits int32.
inline constexpr std::int32_t largestActivation = 8191;

/// A matrix laid out for `product`: panel after panel, in each the rows in pairs, in each pair the
/// panel's columns, the two rows' weights side by side.
struct PackedMatrix {
    std::size_t rows = 0;
    std::size_t columns = 0;
    const std::int8_t* weights = nullptr;
    const float* scales = nullptr;  ///< one a column
    const float* bias = nullptr;    ///< one a column
};

/// Rows of activations rounded to -largestActivation..largestActivation, each with a scale.
struct RoundedRows {
    std::size_t count = 0;
    std::size_t width = 0;
    std::int16_t* values = nullptr;
    float* scales = nullptr;
};

/// The encoder's heavy loops. They exist twice, compiled for the plain 64-bit machine and for one
/// with AVX2, from the same source (KernelLoops.h). Matrices are dense and row-major; nothing is
/// allocated; any thread.
struct Kernels {
    /// Rounds rows of floats for `product`.
    void (*round)(const float* rows, const RoundedRows& to);

    /// rows * matrix + bias. Weights stay int8 in memory and activations have 14 bits, so that a
    /// sum of products is exact, and two of them take one instruction.
    void (*product)(const RoundedRows& rows, const PackedMatrix& matrix, float* result);

    /// Each row shifted to mean 0 and scaled to variance 1, then times `scale` plus `bias`.
    void (*normalise)(const float* rows, std::size_t count, std::size_t width, const float* scale,
                      const float* bias, float* result);

    /// Scaled dot-product attention among `count` rows that hold queries, keys and values side by
    /// side, each `width` wide and split evenly among the heads. `scratch` takes `count` floats.
    void (*attend)(const float* queriesKeysValues, std::size_t count, std::size_t width,
                   std::size_t headCount, float* scratch, float* result);
};

extern const Kernels baselineKernels;
extern const Kernels avx2Kernels;

/// The fastest kernels that this machine can run.
const Kernels& machineKernels();

}  // namespace nookery::encoder
