// How long the search by meaning takes over 100,000 memories, beside a plain scan of the same
// vectors as doubles.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <vector>

#include "retrieval/deep/DeepScore.h"
#include "retrieval/deep/VectorKernels.h"
#include "retrieval/deep/VectorMatrix.h"

namespace nookery {
namespace {

constexpr std::size_t memoryCount = 100000;
constexpr std::size_t dimension = 512;
constexpr std::size_t resultCount = 24;
constexpr int repetitions = 21;

using Doubles = std::vector<double>;

/// Unit vectors that lean to one of a few hundred subjects, so that a query finds some.
class Vectors {
  public:
    Vectors() {
        for (Doubles& subject : subjects_) subject = random();
    }
    Doubles next() {
        Doubles vector = random();
        const Doubles& subject = subjects_[generator_() % subjects_.size()];
        for (std::size_t i = 0; i < dimension; ++i) {
            vector[i] = static_cast<float>(vector[i] + 0.6 * subject[i]);
        }
        return vector;
    }

  private:
    Doubles random() {
        Doubles vector(dimension);
        for (double& value : vector) value = normal_(generator_);
        return vector;
    }

    std::mt19937 generator_{5};
    std::normal_distribution<double> normal_;
    std::vector<Doubles> subjects_ = std::vector<Doubles>(300);
};

/// Of the processor, which other programs' load does not lengthen.
template <typename Work>
double medianMilliseconds(Work work) {
    std::vector<double> times;
    for (int i = 0; i < repetitions; ++i) {
        const std::clock_t start = std::clock();
        work(i);
        times.push_back(1e3 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }
    std::nth_element(times.begin(), times.begin() + repetitions / 2, times.end());
    return times[repetitions / 2];
}

std::vector<double> plainScan(const std::vector<Doubles>& vectors, const Doubles& query) {
    std::vector<double> found;
    for (const Doubles& vector : vectors) {
        const auto value = cosine(std::span(query), std::span(vector));
        if (value && *value >= leastSemanticCosine) found.push_back(*value);
    }
    const auto count = std::min(resultCount, found.size());
    std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(count),
                      found.end(), std::greater<>());
    found.resize(count);
    return found;
}

CrumbItemPointer memory(std::size_t number) {
    Uuid::Bytes bytes{1};
    std::memcpy(&bytes[8], &number, sizeof number);
    CrumbItem item;
    item.id = Uuid(bytes);
    return std::make_shared<const CrumbItem>(item);
}

int run() {
    Vectors vectors;
    std::vector<Doubles> plain;
    VectorMatrix matrix;
    for (std::size_t i = 0; i < memoryCount; ++i) {
        plain.push_back(vectors.next());
        matrix.set(memory(i), plain.back());
    }
    std::vector<Doubles> queries;
    for (int i = 0; i < repetitions; ++i) queries.push_back(vectors.next());

    std::vector<std::vector<double>> expected(repetitions);
    const double peer =
        medianMilliseconds([&](int i) { expected[i] = plainScan(plain, queries[i]); });
    std::vector<std::vector<VectorMatch>> found(repetitions);
    const double ours = medianMilliseconds([&](int i) {
        const std::vector<float> query(queries[i].begin(), queries[i].end());
        found[i] = matrix.view().mostSimilar(query, leastSemanticCosine, resultCount, {});
    });
    for (int i = 0; i < repetitions; ++i) {
        const bool isSame = std::equal(
            found[i].begin(), found[i].end(), expected[i].begin(), expected[i].end(),
            [](const auto& match, double value) { return std::abs(match.cosine - value) < 1e-9; });
        if (!isSame) {
            fmt::print(stderr, "semantic_bench: the two scans differ for query {}\n", i);
            return EXIT_FAILURE;
        }
    }
    fmt::print("search by meaning, {} memories of {} numbers, one core, median of {}\n",
               memoryCount, dimension, repetitions);
    fmt::print("  as 8-bit integers, exact for the best ({}): {:.2f} ms\n",
               dotProductsAvx2() ? "AVX2" : "portable", ours);
    fmt::print("  plain scan of doubles: {:.1f} ms, {:.0f} times as long; same results\n", peer,
               peer / ours);
    return EXIT_SUCCESS;
}

}  // namespace
}  // namespace nookery

int main() { return nookery::run(); }
