// The loops behind Kernels.h. Included by KernelsBaseline.cpp and KernelsAvx2.cpp, each compiled
// with switches of its own, and by nothing else. Everything here has internal linkage, and nothing
// calls an inline function of the standard library: the linker would keep only one of the two
// compiled versions, perhaps the one that the machine cannot run.
//
// Both give the same bits: floats are added in a written order (eight sums side by side, then
// these), nothing is contracted or approximated, and no function of the C library is called, whose
// last bit depends on the processor.
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

/// Eight floats side by side. Every width of the model is a multiple of them.
using Floats = float __attribute__((vector_size(32), aligned(4), may_alias));
using Integers = std::int32_t __attribute__((vector_size(32), aligned(4)));
constexpr std::size_t floatLanes = 8;

inline const Floats* floatsAt(const float* from) { return reinterpret_cast<const Floats*>(from); }
inline Floats* floatsAt(float* to) { return reinterpret_cast<Floats*>(to); }

/// Vectors are handed over by reference: by value the two versions would differ in how.
inline float total(const Floats& lanes) {
    return ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) +
           ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
}

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
        Floats sum = {};
        for (std::size_t i = 0; i < width; i += floatLanes) sum += *floatsAt(from + i);
        const float mean = total(sum) * share;
        Floats squares = {};
        for (std::size_t i = 0; i < width; i += floatLanes) {
            const Floats distance = *floatsAt(from + i) - mean;
            squares += distance * distance;
        }
        const float factor = 1.0f / __builtin_sqrtf(total(squares) * share + epsilon);
        for (std::size_t i = 0; i < width; ++i) {
            to[i] = (from[i] - mean) * factor * scale[i] + bias[i];
        }
    }
}

inline float dot(const float* left, const float* right, std::size_t width) {
    Floats sum = {};
    for (std::size_t i = 0; i < width; i += floatLanes) {
        sum += *floatsAt(left + i) * *floatsAt(right + i);
    }
    return total(sum);
}

/// e to the power of eight numbers that are at most 0, to about 1e-7 of each: a power of two, times
/// the series for what is left, which lies between -ln(2)/2 and ln(2)/2.
inline void exponentiate(Floats& powers) {
    constexpr float smallest = -87.0f;
    constexpr float toInteger = 12582912.0f;  // 1.5 * 2^23: adding it rounds to a whole number
    constexpr float log2OfE = 1.44269504f;
    constexpr float ln2High = 0.693359375f;  // exact when multiplied by a small whole number
    constexpr float ln2Low = -2.12194440e-4f;
    constexpr std::int32_t exponentBias = 127;
    const Floats clamped = powers < smallest ? Floats{} + smallest : powers;
    const Floats exponent = (clamped * log2OfE + toInteger) - toInteger;
    const Floats rest = (clamped - exponent * ln2High) - exponent * ln2Low;
    constexpr float factors[] = {1.0f / 720, 1.0f / 120, 1.0f / 24, 1.0f / 6, 0.5f, 1.0f, 1.0f};
    Floats series = Floats{} + 1.0f / 5040;
    for (const float factor : factors) series = series * rest + factor;
    const Integers scale = (__builtin_convertvector(exponent, Integers) + exponentBias) << 23;
    powers = series * reinterpret_cast<Floats>(scale);
}

/// Turns scores into shares of one.
inline void softmax(float* scores, std::size_t count) {
    float largest = scores[0];
    for (std::size_t i = 1; i < count; ++i) largest = scores[i] > largest ? scores[i] : largest;
    Floats sum = {};
    for (std::size_t begin = 0; begin < count; begin += floatLanes) {
        const std::size_t lanes = count - begin < floatLanes ? count - begin : floatLanes;
        Floats powers = {};
        for (std::size_t i = 0; i < lanes; ++i) powers[i] = scores[begin + i] - largest;
        exponentiate(powers);
        for (std::size_t i = 0; i < lanes; ++i) {
            scores[begin + i] = powers[i];
            sum[i] += powers[i];
        }
    }
    const float whole = total(sum);
    for (std::size_t i = 0; i < count; ++i) scores[i] /= whole;
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
            for (std::size_t i = 0; i < headWidth; i += floatLanes) {
                Floats sum = {};
                for (std::size_t other = 0; other < count; ++other) {
                    sum += scratch[other] * *floatsAt(values + other * 3 * width + i);
                }
                *floatsAt(out + i) = sum;
            }
        }
    }
}

}  // namespace

}  // namespace nookery::encoder
