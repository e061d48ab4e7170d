#include "retrieval/deep/VectorMatrix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <numeric>
#include <random>

#include "foundation/Error.h"
#include "retrieval/deep/VectorKernels.h"

namespace nookery {
namespace {

using Vector = std::vector<double>;

/// Vectors spread around a common direction, as embeddings are.
class RandomVectors {
  public:
    explicit RandomVectors(std::size_t dimension) : dimension_(dimension) {}
    Vector next() {
        Vector vector(dimension_);
        for (double& value : vector) value = static_cast<float>(normal_(generator_) + 0.3);
        return vector;
    }

  private:
    std::size_t dimension_;
    std::mt19937 generator_{7};
    std::normal_distribution<double> normal_;
};

/// A record with a number for a title and an id made of it.
CrumbItemPointer item(std::uint32_t number) {
    Uuid::Bytes bytes{1};
    std::memcpy(&bytes[4], &number, sizeof number);
    CrumbItem record;
    record.id = Uuid(bytes);
    record.title = std::to_string(number);
    return std::make_shared<const CrumbItem>(record);
}

struct NaiveMatch {
    std::uint32_t number = 0;
    double cosine = 0;
};

std::vector<float> asQuery(const Vector& vector) { return {vector.begin(), vector.end()}; }

std::vector<NaiveMatch> naiveMatches(const std::map<std::uint32_t, Vector>& vectors,
                                     const Vector& query, double least, std::size_t limit) {
    std::vector<NaiveMatch> matches;
    for (const auto& [number, vector] : vectors) {
        const auto value = cosine(query, vector);
        if (value && *value >= least) matches.push_back({number, *value});
    }
    std::stable_sort(matches.begin(), matches.end(),
                     [](const auto& a, const auto& b) { return a.cosine > b.cosine; });
    if (matches.size() > limit) matches.resize(limit);
    return matches;
}

void expectSame(const std::vector<VectorMatch>& found, const std::vector<NaiveMatch>& expected) {
    ASSERT_EQ(found.size(), expected.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_EQ(found[i].item->title, std::to_string(expected[i].number)) << i;
        EXPECT_NEAR(found[i].cosine, expected[i].cosine, 1e-12) << i;
    }
}

TEST(Cosine, refusesWhatHasNoDirection) {
    const Vector zero{0, 0, 0};
    const Vector some{1, 2, 3};
    EXPECT_FALSE(cosine(zero, some));
    EXPECT_FALSE(cosine(some, zero));
    EXPECT_FALSE(cosine(some, Vector{1, 2}));
    EXPECT_FALSE(cosine(Vector{}, Vector{}));
    EXPECT_NEAR(*cosine(some, Vector{-2, -4, -6}), -1, 1e-12);
}

TEST(VectorKernels, allProcessorsGetTheSameProducts) {
    std::mt19937 generator(3);
    std::uniform_int_distribution<int> any(-127, 127);
    const std::size_t byteCount = 512;
    const std::size_t rowCount = 9;
    std::vector<std::int8_t> query(byteCount);
    std::vector<std::int8_t> rows(byteCount * rowCount);
    for (auto& value : query) value = static_cast<std::int8_t>(any(generator));
    for (auto& value : rows) value = static_cast<std::int8_t>(any(generator));
    // The largest sums, of both signs.
    std::fill(query.begin(), query.begin() + 64, -127);
    std::fill(rows.begin(), rows.begin() + 64, -127);
    std::fill(rows.begin() + byteCount, rows.begin() + byteCount + 64, 127);
    std::vector<std::int32_t> portable(rowCount);
    dotProductsPortable(query.data(), rows.data(), byteCount, rowCount, portable.data());
    const auto avx2 = dotProductsAvx2();
    if (!avx2) GTEST_SKIP() << "this processor has no AVX2";
    std::vector<std::int32_t> fast(rowCount);
    (*avx2)(query.data(), rows.data(), byteCount, rowCount, fast.data());
    EXPECT_EQ(fast, portable);
}

TEST(VectorMatrix, findsWhatANaiveScanFindsThroughManyChanges) {
    RandomVectors random(40);
    std::mt19937 generator(11);
    VectorMatrix matrix;
    std::map<std::uint32_t, Vector> kept;
    const auto put = [&](std::uint32_t number) {
        kept[number] = random.next();
        matrix.set(item(number), kept[number]);
    };
    for (std::uint32_t number = 0; number < 900; ++number) put(number);
    for (int change = 0; change < 3000; ++change) {
        const auto number = static_cast<std::uint32_t>(generator() % 1000);
        // A view before each change makes every block shared, so that each must be copied.
        const auto before = matrix.view();
        if (generator() % 2 == 0) {
            put(number);
        } else {
            matrix.remove(item(number)->id);
            kept.erase(number);
        }
    }
    ASSERT_EQ(matrix.size(), kept.size());
    const auto view = matrix.view();
    for (const double least : {-1.0, 0.0, 0.24}) {
        const Vector query = random.next();
        expectSame(view.mostSimilar(asQuery(query), least, 50, {}),
                   naiveMatches(kept, query, least, 50));
    }
    for (const auto& [number, vector] : kept) {
        const auto row = matrix.rowOf(item(number)->id);
        ASSERT_TRUE(row);
        EXPECT_NEAR(*view.cosineOfRow(*row, asQuery(vector)), 1, 1e-12);
    }
}

TEST(VectorMatrix, aViewNeverSeesALaterChange) {
    VectorMatrix matrix;
    matrix.set(item(5), Vector{1, 0});
    matrix.set(item(6), Vector{0, 1});
    const auto view = matrix.view();
    matrix.set(item(5), Vector{0, 1});
    matrix.remove(item(6)->id);
    auto renamed = *item(5);
    renamed.title = "renamed";
    matrix.setRecord(std::make_shared<const CrumbItem>(renamed));
    const auto found = view.mostSimilar(std::vector<float>{1, 0}, 0.5, 10, {});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].item->title, "5");
    EXPECT_EQ(view.rowCount(), 2U);
    EXPECT_TRUE(matrix.view().mostSimilar(std::vector<float>{1, 0}, 0.5, 10, {}).empty());
    EXPECT_EQ(matrix.view().mostSimilar(std::vector<float>{0, 1}, 0.5, 10, {})[0].item->title,
              "renamed");
}

TEST(VectorMatrix, aCosineOfExactlyTheLeastIsFoundAndOneBelowIsNot) {
    VectorMatrix matrix;
    matrix.set(item(1), Vector{6, 24, 3, 2});       // length 25: the cosine with the query is 0.24
    matrix.set(item(2), Vector{5.9975, 24, 3, 2});  // 0.2399
    const auto found = matrix.view().mostSimilar(std::vector<float>{2, 0, 0, 0}, 0.24, 10, {});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].item->title, "1");
    EXPECT_EQ(found[0].cosine, 0.24);
}

TEST(VectorMatrix, equalVectorsAreFoundNewestFirstInWhateverOrderTheyCameIn) {
    // Embeddings come in as the threads that make them finish.
    constexpr std::uint32_t count = 300;
    std::vector<std::uint32_t> order(count);
    std::iota(order.begin(), order.end(), 0U);
    std::mt19937 generator(13);
    for (int round = 0; round < 3; ++round) {
        VectorMatrix matrix;
        for (const std::uint32_t number : order) {
            CrumbItem record = *item(number);
            record.createdAt = Timestamp{static_cast<double>(number / 2)};
            matrix.set(std::make_shared<const CrumbItem>(record), Vector{0.3, 0.4});
        }
        const auto found = matrix.view().mostSimilar(std::vector<float>{1, 0}, 0.24, 3, {});
        ASSERT_EQ(found.size(), 3U);
        EXPECT_EQ(found[0].item->title, "298");
        EXPECT_EQ(found[1].item->title, "299");
        EXPECT_EQ(found[2].item->title, "296");
        std::shuffle(order.begin(), order.end(), generator);
    }
}

TEST(VectorMatrix, keepsNoVectorThatCannotBeCompared) {
    VectorMatrix matrix;
    matrix.set(item(1), Vector{1, 0});
    matrix.set(item(2), Vector{1, 0, 0});
    matrix.set(item(3), Vector{0, 0});
    matrix.set(item(4), Vector{std::nan(""), 1});
    EXPECT_EQ(matrix.size(), 1U);
    const auto view = matrix.view();
    EXPECT_TRUE(view.mostSimilar(std::vector<float>{1, 0, 0}, -1, 10, {}).empty());
    EXPECT_TRUE(view.mostSimilar(std::vector<float>{0, 0}, -1, 10, {}).empty());
    EXPECT_FALSE(view.cosineOfRow(0, std::vector<float>{0, 0}));
    // What replaces a vector but cannot be kept leaves nothing stale behind.
    matrix.set(item(1), Vector{});
    EXPECT_EQ(matrix.size(), 0U);
    matrix.set(item(2), Vector{1, 0, 0});
    EXPECT_EQ(matrix.size(), 1U);
}

TEST(VectorMatrix, aScanEndsWhenItIsAskedTo) {
    VectorMatrix matrix;
    matrix.set(item(1), Vector{1, 0});
    std::stop_source stop;
    stop.request_stop();
    EXPECT_THROW(matrix.view().mostSimilar(std::vector<float>{1, 0}, -1, 10, stop.get_token()),
                 Cancelled);
}

}  // namespace
}  // namespace nookery
