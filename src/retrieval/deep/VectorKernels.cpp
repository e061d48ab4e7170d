#include "retrieval/deep/VectorKernels.h"

#include <cmath>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace nookery {
namespace {

template <typename Value>
std::optional<double> cosineOf(std::span<const double> a, std::span<const Value> b) {
    if (a.size() != b.size()) return std::nullopt;
    double dot = 0;
    double squaredNormA = 0;
    double squaredNormB = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double valueB = b[i];
        dot += a[i] * valueB;
        squaredNormA += a[i] * a[i];
        squaredNormB += valueB * valueB;
    }
    // Written so that a norm that is not a number is refused as well.
    if (!(squaredNormA > 0) || !(squaredNormB > 0)) return std::nullopt;
    return dot / (std::sqrt(squaredNormA) * std::sqrt(squaredNormB));
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) std::int32_t sumOfLanes(__m256i lanes) {
    __m128i sum = _mm_add_epi32(_mm256_castsi256_si128(lanes), _mm256_extracti128_si256(lanes, 1));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(1, 0, 3, 2)));
    sum = _mm_add_epi32(sum, _mm_shuffle_epi32(sum, _MM_SHUFFLE(2, 3, 0, 1)));
    return _mm_cvtsi128_si32(sum);
}

__attribute__((target("avx2"))) __m256i load(const std::int8_t* bytes) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

__attribute__((target("avx2"))) void dotProductsWithAvx2(const std::int8_t* query,
                                                         const std::int8_t* rows,
                                                         std::size_t rowByteCount,
                                                         std::size_t rowCount,
                                                         std::int32_t* results) {
    const __m256i ones = _mm256_set1_epi16(1);
    for (std::size_t row = 0; row < rowCount; ++row, rows += rowByteCount) {
        __m256i sum = _mm256_setzero_si256();
        for (std::size_t i = 0; i < rowByteCount; i += quantisedRowAlignment) {
            const __m256i a = load(query + i);
            const __m256i b = load(rows + i);
            // The instruction multiplies unsigned with signed values, hence |a| and b with the
            // sign of a. The sum of two products, at most 2 * 127 * 127, fits 16 bits.
            const __m256i pairs = _mm256_maddubs_epi16(_mm256_abs_epi8(a), _mm256_sign_epi8(b, a));
            sum = _mm256_add_epi32(sum, _mm256_madd_epi16(pairs, ones));
        }
        results[row] = sumOfLanes(sum);
    }
}
#endif

}  // namespace

void dotProductsPortable(const std::int8_t* query, const std::int8_t* rows,
                         std::size_t rowByteCount, std::size_t rowCount, std::int32_t* results) {
    for (std::size_t row = 0; row < rowCount; ++row, rows += rowByteCount) {
        std::int32_t sum = 0;
        for (std::size_t i = 0; i < rowByteCount; ++i) sum += query[i] * rows[i];
        results[row] = sum;
    }
}

std::optional<DotProducts> dotProductsAvx2() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) return &dotProductsWithAvx2;
#endif
    return std::nullopt;
}

DotProducts fastestDotProducts() { return dotProductsAvx2().value_or(&dotProductsPortable); }

std::optional<double> cosine(std::span<const double> a, std::span<const double> b) {
    return cosineOf(a, b);
}

std::optional<double> cosine(std::span<const double> a, std::span<const float> b) {
    return cosineOf(a, b);
}

}  // namespace nookery
