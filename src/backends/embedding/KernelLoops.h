// The loops behind Kernels.h. Included by KernelsBaseline.cpp and KernelsAvx2.cpp, each compiled
// with switches of its own, and by nothing else. Everything here has internal linkage, and nothing
// calls an inline function of the standard library: the linker would keep only one of the two
// compiled versions, perhaps the one that the machine cannot run.
#pragma once

#include <immintrin.h>

#include "backends/embedding/Kernels.h"

namespace nookery::encoder {

namespace {

#ifdef __AVX2__
using Lanes = __m256i;
constexpr std::size_t lanesPerPanel = 2;

inline Lanes zero() { return _mm256_setzero_si256(); }
inline Lanes addProducts(Lanes sum, Lanes left, Lanes right) {
    return _mm256_add_epi32(sum, _mm256_madd_epi16(left, right));
}
inline Lanes repeated(std::int32_t pair) { return _mm256_set1_epi32(pair); }
inline Lanes widened(const std::int8_t* weights) {
    return _mm256_cvtepi8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(weights)));
}
inline void store(std::int32_t* to, Lanes lanes) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), lanes);
}
#else
using Lanes = __m128i;
constexpr std::size_t lanesPerPanel = 4;

inline Lanes zero() { return _mm_setzero_si128(); }
inline Lanes addProducts(Lanes sum, Lanes left, Lanes right) {
    return _mm_add_epi32(sum, _mm_madd_epi16(left, right));
}
inline Lanes repeated(std::int32_t pair) { return _mm_set1_epi32(pair); }
inline Lanes widened(const std::int8_t* weights) {
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights));
    return _mm_srai_epi16(_mm_unpacklo_epi8(bytes, bytes), 8);
}
inline void store(std::int32_t* to, Lanes lanes) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), lanes);
}
#endif

constexpr std::size_t laneColumns = panelColumns / lanesPerPanel;
constexpr std::size_t pairByteCount = 2 * panelColumns;
constexpr std::size_t tileRows = 6;

/// Columns `lane` and `lane + 1` of the panel for `rowCount` rows: their sums live in registers
/// through the whole depth.
template <std::size_t rowCount>
inline void sumTile(const std::int16_t* rows, std::size_t width, const std::int8_t* panel,
                    std::size_t lane, std::int32_t (*sums)[panelColumns]) {
    Lanes first[rowCount];
    Lanes second[rowCount];
#pragma GCC unroll 6
    for (std::size_t row = 0; row < rowCount; ++row) first[row] = second[row] = zero();
    const std::int8_t* weights = panel + lane * 2 * laneColumns;
    for (std::size_t k = 0; k < width; k += 2, weights += pairByteCount) {
        const Lanes left = widened(weights);
        const Lanes right = widened(weights + 2 * laneColumns);
#pragma GCC unroll 6
        for (std::size_t row = 0; row < rowCount; ++row) {
            std::int32_t pair;
            __builtin_memcpy(&pair, rows + row * width + k, sizeof pair);
            const Lanes activations = repeated(pair);
            first[row] = addProducts(first[row], activations, left);
            second[row] = addProducts(second[row], activations, right);
        }
    }
#pragma GCC unroll 6
    for (std::size_t row = 0; row < rowCount; ++row) {
        store(sums[row] + lane * laneColumns, first[row]);
        store(sums[row] + (lane + 1) * laneColumns, second[row]);
    }
}

/// One panel's columns for rows `firstRow` and after.
template <std::size_t rowCount>
void panelTile(const RoundedRows& rows, std::size_t firstRow, const PackedMatrix& matrix,
               std::size_t firstColumn, float* result) {
    const std::int8_t* panel = matrix.weights + firstColumn * matrix.rows;
    std::int32_t sums[rowCount][panelColumns];
    for (std::size_t lane = 0; lane < lanesPerPanel; lane += 2) {
        sumTile<rowCount>(rows.values + firstRow * rows.width, rows.width, panel, lane, sums);
    }
    for (std::size_t row = 0; row < rowCount; ++row) {
        float* out = result + (firstRow + row) * matrix.columns + firstColumn;
        const float rowScale = rows.scales[firstRow + row];
        for (std::size_t column = 0; column < panelColumns; ++column) {
            out[column] = static_cast<float>(sums[row][column]) * rowScale *
                              matrix.scales[firstColumn + column] +
                          matrix.bias[firstColumn + column];
        }
    }
}

void product(const RoundedRows& rows, const PackedMatrix& matrix, float* result) {
    using Tile =
        void (*)(const RoundedRows&, std::size_t, const PackedMatrix&, std::size_t, float*);
    constexpr Tile tiles[tileRows + 1] = {nullptr,      panelTile<1>, panelTile<2>, panelTile<3>,
                                          panelTile<4>, panelTile<5>, panelTile<6>};
    // Tiles of nearly equal height: seven rows are better cut into four and three than six and one.
    const std::size_t tileCount = (rows.count + tileRows - 1) / tileRows;
    for (std::size_t column = 0; column < matrix.columns; column += panelColumns) {
        for (std::size_t tile = 0; tile < tileCount; ++tile) {
            const std::size_t begin = rows.count * tile / tileCount;
            const std::size_t end = rows.count * (tile + 1) / tileCount;
            tiles[end - begin](rows, begin, matrix, column, result);
        }
    }
}

void round(const float* rows, const RoundedRows& to) {
    for (std::size_t row = 0; row < to.count; ++row) {
        const float* from = rows + row * to.width;
        std::int16_t* values = to.values + row * to.width;
        float largest = 0;
        for (std::size_t i = 0; i < to.width; ++i) {
            const float size = __builtin_fabsf(from[i]);
            largest = size > largest ? size : largest;
        }
        to.scales[row] = largest / largestActivation;
        const float factor = largest > 0 ? largestActivation / largest : 0;
        for (std::size_t i = 0; i < to.width; ++i) {
            const float scaled = from[i] * factor;
            values[i] = static_cast<std::int16_t>(
                static_cast<std::int32_t>(scaled + __builtin_copysignf(0.5f, scaled)));
        }
    }
}

void normalise(const float* rows, std::size_t count, std::size_t width, const float* scale,
               const float* bias, float* result) {
    constexpr float epsilon = 1e-6f;
    const float share = 1.0f / static_cast<float>(width);
    for (std::size_t row = 0; row < count; ++row) {
        const float* from = rows + row * width;
        float* to = result + row * width;
        float sum = 0;
        for (std::size_t i = 0; i < width; ++i) sum += from[i];
        const float mean = sum * share;
        float squares = 0;
        for (std::size_t i = 0; i < width; ++i) squares += (from[i] - mean) * (from[i] - mean);
        const float factor = 1.0f / __builtin_sqrtf(squares * share + epsilon);
        for (std::size_t i = 0; i < width; ++i) {
            to[i] = (from[i] - mean) * factor * scale[i] + bias[i];
        }
    }
}

inline float dot(const float* left, const float* right, std::size_t width) {
    float sum = 0;
    for (std::size_t i = 0; i < width; ++i) sum += left[i] * right[i];
    return sum;
}

/// Turns scores into shares of one.
inline void softmax(float* scores, std::size_t count) {
    float largest = scores[0];
    for (std::size_t i = 1; i < count; ++i) largest = scores[i] > largest ? scores[i] : largest;
    float sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        scores[i] = __builtin_expf(scores[i] - largest);
        sum += scores[i];
    }
    for (std::size_t i = 0; i < count; ++i) scores[i] /= sum;
}

void attend(const float* queriesKeysValues, std::size_t count, std::size_t width,
            std::size_t headCount, float* scratch, float* result) {
    const std::size_t headWidth = width / headCount;
    const float factor = 1.0f / __builtin_sqrtf(static_cast<float>(headWidth));
    for (std::size_t head = 0; head < headCount; ++head) {
        const float* queries = queriesKeysValues + head * headWidth;
        const float* keys = queries + width;
        const float* values = keys + width;
        for (std::size_t row = 0; row < count; ++row) {
            for (std::size_t other = 0; other < count; ++other) {
                scratch[other] =
                    factor * dot(queries + row * 3 * width, keys + other * 3 * width, headWidth);
            }
            softmax(scratch, count);
            float* out = result + row * width + head * headWidth;
            for (std::size_t i = 0; i < headWidth; ++i) out[i] = 0;
            for (std::size_t other = 0; other < count; ++other) {
                const float* value = values + other * 3 * width;
                for (std::size_t i = 0; i < headWidth; ++i) out[i] += scratch[other] * value[i];
            }
        }
    }
}

}  // namespace

}  // namespace nookery::encoder
