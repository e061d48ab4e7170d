#include "retrieval/deep/VectorMatrix.h"

#include <algorithm>
#include <cmath>

#include "foundation/Error.h"
#include "retrieval/deep/VectorKernels.h"

namespace nookery {
namespace {

constexpr std::size_t rowsPerBlock = 256;
constexpr float largestQuantised = 127;

/// A generous bound of the difference between a quantised cosine and the exact one. Rounding costs
/// less than 0.001 for vectors whose direction is spread over all dimensions, as in embeddings.
constexpr double quantisationError = 0.01;

std::size_t paddedByteCount(std::size_t dimension) {
    return (dimension + quantisedRowAlignment - 1) / quantisedRowAlignment * quantisedRowAlignment;
}

/// A vector as 8-bit integers, and the factor that turns their products into cosines.
struct Quantised {
    std::vector<std::int8_t> values;
    float factor = 0;
};

/// None for a vector of all zeros or with a value that is not finite.
std::optional<Quantised> quantised(std::span<const float> vector) {
    double squaredNorm = 0;
    float largest = 0;
    for (const float value : vector) {
        if (!std::isfinite(value)) return std::nullopt;
        squaredNorm += static_cast<double>(value) * value;
        largest = std::max(largest, std::abs(value));
    }
    if (!(squaredNorm > 0)) return std::nullopt;
    Quantised result;
    result.values.assign(paddedByteCount(vector.size()), 0);
    std::transform(vector.begin(), vector.end(), result.values.begin(), [&](float value) {
        return static_cast<std::int8_t>(std::lround(value / largest * largestQuantised));
    });
    result.factor = static_cast<float>(largest / largestQuantised / std::sqrt(squaredNorm));
    return result;
}

struct RowMatch {
    std::size_t row = 0;
    double cosine = 0;
    const CrumbItem* item = nullptr;
};

/// A total order that does not depend on the rows, which vectors get as they come in.
bool isMoreSimilar(const RowMatch& a, const RowMatch& b) {
    if (a.cosine != b.cosine) return a.cosine > b.cosine;
    if (a.item->createdAt != b.item->createdAt) return a.item->createdAt > b.item->createdAt;
    return a.item->id < b.item->id;
}

/// Keeps the best `limit` of the matches added.
class BestMatches {
  public:
    BestMatches(std::size_t limit, double least) : limit_(limit), least_(least) {}

    double least() const { return least_; }

    void add(const RowMatch& match) {
        matches_.push_back(match);
        std::push_heap(matches_.begin(), matches_.end(), isMoreSimilar);
        if (matches_.size() <= limit_) return;
        std::pop_heap(matches_.begin(), matches_.end(), isMoreSimilar);
        matches_.pop_back();
        least_ = std::max(least_, matches_.front().cosine);
    }
    /// Best first.
    std::vector<RowMatch> take() {
        std::sort_heap(matches_.begin(), matches_.end(), isMoreSimilar);
        return std::move(matches_);
    }

  private:
    std::size_t limit_;
    double least_;
    std::vector<RowMatch> matches_;
};

}  // namespace

struct VectorBlock {
    explicit VectorBlock(std::size_t dimension)
        : quantised(rowsPerBlock * paddedByteCount(dimension)), exact(rowsPerBlock * dimension) {}

    std::vector<std::int8_t> quantised;
    std::vector<float> exact;
    std::array<float, rowsPerBlock> factors{};
    std::array<CrumbItemPointer, rowsPerBlock> items;
};

std::vector<VectorMatch> VectorView::mostSimilar(std::span<const float> query, double leastCosine,
                                                 std::size_t limit, std::stop_token stop) const {
    const auto quantisedQuery = quantised(query);
    if (query.size() != dimension_ || !quantisedQuery || limit == 0) return {};
    const auto dotProducts = fastestDotProducts();
    // Quantised cosines choose with a margin in value and in number; exact cosines decide.
    BestMatches roughly(limit + limit / 4 + 8, leastCosine - quantisationError);
    std::array<std::int32_t, rowsPerBlock> products{};
    for (std::size_t first = 0; first < rowCount_; first += rowsPerBlock) {
        if (stop.stop_requested()) throw Cancelled();
        const VectorBlock& block = *blocks_[first / rowsPerBlock];
        const std::size_t count = std::min(rowsPerBlock, rowCount_ - first);
        dotProducts(quantisedQuery->values.data(), block.quantised.data(),
                    quantisedQuery->values.size(), count, products.data());
        for (std::size_t i = 0; i < count; ++i) {
            const float rough =
                static_cast<float>(products[i]) * block.factors[i] * quantisedQuery->factor;
            if (rough < roughly.least()) continue;
            roughly.add({first + i, rough, block.items[i].get()});
        }
    }
    BestMatches exactly(limit, leastCosine);
    for (const RowMatch& match : roughly.take()) {
        const auto exact = cosineOfRow(match.row, query);
        if (exact && *exact >= leastCosine) exactly.add({match.row, *exact, match.item});
    }
    std::vector<VectorMatch> matches;
    for (const RowMatch& match : exactly.take()) {
        const VectorBlock& block = *blocks_[match.row / rowsPerBlock];
        matches.push_back({block.items[match.row % rowsPerBlock], match.cosine});
    }
    return matches;
}

std::span<const float> VectorView::row(std::size_t row) const {
    const float* first = &blocks_[row / rowsPerBlock]->exact[row % rowsPerBlock * dimension_];
    return {first, dimension_};
}

std::optional<double> VectorView::cosineOfRow(std::size_t row, std::span<const float> query) const {
    const std::vector<double> exactQuery(query.begin(), query.end());
    return cosine(std::span<const double>(exactQuery), this->row(row));
}

void VectorMatrix::set(const CrumbItemPointer& item, std::span<const double> vector) {
    if (rowCount_ == 0 && !vector.empty()) {
        clear();
        dimension_ = vector.size();
    }
    const std::vector<float> exact(vector.begin(), vector.end());
    const auto packed = quantised(exact);
    if (vector.size() != dimension_ || !packed) {
        remove(item->id);
        return;
    }
    const std::size_t row = rowFor(item->id);
    VectorBlock& block = writableBlockOf(row);
    const std::size_t place = row % rowsPerBlock;
    std::copy(packed->values.begin(), packed->values.end(),
              &block.quantised[place * packed->values.size()]);
    std::copy(exact.begin(), exact.end(), &block.exact[place * dimension_]);
    block.factors[place] = packed->factor;
    block.items[place] = item;
}

std::size_t VectorMatrix::rowFor(const Uuid& id) {
    const auto [known, isNew] = rows_.try_emplace(id, static_cast<std::uint32_t>(rowCount_));
    if (isNew && rowCount_++ % rowsPerBlock == 0) {
        blocks_.push_back(std::make_shared<VectorBlock>(dimension_));
        isShared_.push_back(false);
    }
    return known->second;
}

void VectorMatrix::setRecord(const CrumbItemPointer& item) {
    if (const auto row = rowOf(item->id)) {
        writableBlockOf(*row).items[*row % rowsPerBlock] = item;
    }
}

void VectorMatrix::remove(const Uuid& id) {
    const auto row = rowOf(id);
    if (!row) return;
    moveLastRowTo(*row);
    rows_.erase(id);
    --rowCount_;
    if (rowCount_ % rowsPerBlock == 0) {
        blocks_.pop_back();
        isShared_.pop_back();
    } else {
        writableBlockOf(rowCount_).items[rowCount_ % rowsPerBlock].reset();
    }
}

void VectorMatrix::moveLastRowTo(std::size_t row) {
    const std::size_t last = rowCount_ - 1;
    if (row == last) return;
    VectorBlock& to = writableBlockOf(row);
    const VectorBlock& from = *blocks_[last / rowsPerBlock];
    const std::size_t source = last % rowsPerBlock;
    const std::size_t target = row % rowsPerBlock;
    const std::size_t byteCount = paddedByteCount(dimension_);
    std::copy_n(&from.quantised[source * byteCount], byteCount, &to.quantised[target * byteCount]);
    std::copy_n(&from.exact[source * dimension_], dimension_, &to.exact[target * dimension_]);
    to.factors[target] = from.factors[source];
    to.items[target] = from.items[source];
    rows_[to.items[target]->id] = static_cast<std::uint32_t>(row);
}

void VectorMatrix::clear() { *this = VectorMatrix(); }

std::optional<std::size_t> VectorMatrix::rowOf(const Uuid& id) const {
    const auto row = rows_.find(id);
    if (row == rows_.end()) return std::nullopt;
    return row->second;
}

VectorView VectorMatrix::view() const {
    VectorView view;
    view.blocks_.assign(blocks_.begin(), blocks_.end());
    view.rowCount_ = rowCount_;
    view.dimension_ = dimension_;
    isShared_.assign(blocks_.size(), true);
    return view;
}

VectorBlock& VectorMatrix::writableBlockOf(std::size_t row) {
    const std::size_t index = row / rowsPerBlock;
    if (isShared_[index]) {
        blocks_[index] = std::make_shared<VectorBlock>(*blocks_[index]);
        isShared_[index] = false;
    }
    return *blocks_[index];
}

}  // namespace nookery
