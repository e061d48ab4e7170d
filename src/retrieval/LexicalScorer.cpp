#include "retrieval/LexicalScorer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_map>

namespace nookery {
namespace {

/// So many bounds are looked at together.
constexpr std::size_t stripSize = 32;

using BlockCells = std::array<Cell, CellMap::blockSize>;

std::size_t countHits(const BlockCells& cells) {
    std::uint16_t count = 0;
    for (const Cell cell : cells) count = static_cast<std::uint16_t>(count + (cell != 0));
    return count;
}

void unite(BlockCells& united, CellMap::Block cells) {
    for (std::size_t i = 0; i < united.size(); ++i) united[i] |= cells[i];
}

}  // namespace

TagEvidence::TagEvidence(const LexicalIndex& index, const std::vector<std::string>& requested,
                         const std::vector<std::string>& plain) {
    struct Counts {
        std::uint8_t requested = 0;
        std::uint8_t plain = 0;
    };
    std::unordered_map<Ordinal, Counts> counts;
    const auto count = [&](const std::string& tag, std::uint8_t Counts::*counter) {
        const auto* ordinals = index.taggedWith(tag);
        if (ordinals == nullptr) return;
        for (const Ordinal ordinal : *ordinals) {
            if (!index.isAlive(ordinal)) continue;
            std::uint8_t& held = counts[ordinal].*counter;
            if (held < 255) ++held;
        }
    };
    for (const std::string& tag : requested) count(tag, &Counts::requested);
    for (const std::string& tag : plain) count(tag, &Counts::plain);
    cells_.reset(index.ordinalCount());
    for (const auto& [ordinal, held] : counts) cells_.merge(ordinal, held.requested, held.plain);
    cells_.summarise(0xFFFF);
}

/// The best memories so far, worst of them on top.
class LexicalScorer::Best {
  public:
    Best(const LexicalIndex& index, std::size_t limit) : index_(index), limit_(limit) {}

    bool isFull() const { return heap_.size() == limit_; }
    /// The score of the worst; to be asked only when full.
    double least() const { return heap_.front().score; }

    /// Whether a memory of this score could come in.
    bool admits(double score) const {
        if (heap_.size() < limit_) return true;
        return limit_ > 0 && score >= heap_.front().score;
    }

    void offer(Ordinal ordinal, double score) {
        const ScoredMemory offered{ordinal, score};
        const auto before = [this](const ScoredMemory& a, const ScoredMemory& b) {
            return isBefore(a, b);
        };
        if (heap_.size() == limit_) {
            if (!isBefore(offered, heap_.front())) return;
            std::pop_heap(heap_.begin(), heap_.end(), before);
            heap_.pop_back();
        }
        heap_.push_back(offered);
        std::push_heap(heap_.begin(), heap_.end(), before);
    }

    std::vector<ScoredMemory> take() {
        std::sort(heap_.begin(), heap_.end(),
                  [this](const ScoredMemory& a, const ScoredMemory& b) { return isBefore(a, b); });
        return std::move(heap_);
    }

  private:
    bool isBefore(const ScoredMemory& a, const ScoredMemory& b) const {
        if (a.score != b.score) return a.score > b.score;
        const Date dateOfA = index_.createdAt(a.ordinal);
        const Date dateOfB = index_.createdAt(b.ordinal);
        if (dateOfA != dateOfB) return dateOfA > dateOfB;
        return index_.item(a.ordinal)->id < index_.item(b.ordinal)->id;
    }

    const LexicalIndex& index_;
    std::size_t limit_;
    std::vector<ScoredMemory> heap_;
};

LexicalScorer::LexicalScorer(const LexicalIndex& index, std::vector<const TermEvidence*> terms,
                             const TagEvidence* tags)
    : index_(index), terms_(std::move(terms)), tags_(tags) {
    double greatest =
        index_.weights().people + index_.weights().plainTag * static_cast<double>(terms_.size());
    for (const TermEvidence* term : terms_) greatest += term->greatest();
    requestedTagWorth_ = index_.weights().requestedTag + (terms_.empty() ? 0 : greatest);
    for (std::size_t held = 0; held <= terms_.size(); ++held) {
        const double share = static_cast<double>(held) /
                             static_cast<double>(std::max<std::size_t>(terms_.size(), 1));
        coverage_.push_back(std::pow(share, index_.weights().coveragePower));
    }
    chooseUnits();
}

double LexicalScorer::tagScore(Cell cell) const {
    return requestedTagWorth_ * static_cast<double>(TagEvidence::requestedCount(cell)) +
           index_.weights().plainTag * static_cast<double>(TagEvidence::plainCount(cell));
}

double LexicalScorer::score(const Cell* termCells, Cell tagCell) const {
    double weight = 0;
    double relevance = 0;
    std::size_t held = 0;
    std::uint8_t bits = 0;
    for (std::size_t i = 0; i < terms_.size(); ++i) {
        const Cell cell = termCells[i];
        if (cell == 0) continue;
        weight += terms_[i]->weight(cell);
        relevance += terms_[i]->relevance(cell);
        bits |= bitsOf(cell);
        ++held;
    }
    if ((bits & peopleBit) != 0) weight += index_.weights().people;
    if (tagCell != 0) weight += tagScore(tagCell);
    return weight + coverage_[held] * relevance;
}

double LexicalScorer::scoreOf(Ordinal ordinal) const {
    std::vector<Cell> cells;
    for (const TermEvidence* term : terms_) cells.push_back(term->cells().at(ordinal));
    return score(cells.data(), tags_ == nullptr ? Cell{0} : tags_->cells().at(ordinal));
}

double LexicalScorer::examine(std::size_t block, std::size_t& hitCount) const {
    std::vector<Cell>& summaries = scratch_;
    summaries.clear();
    std::size_t active = 0;
    std::size_t only = 0;
    for (const TermEvidence* term : terms_) {
        summaries.push_back(term->cells().summary(block));
        if (summaries.back() == 0) continue;
        ++active;
        only = term->cells().count(block);
    }
    const Cell tagSummary = tags_ == nullptr ? Cell{0} : tags_->cells().summary(block);
    if (active == 0 && tagSummary == 0) return 0;
    if (active == 1 && tagSummary == 0) {
        hitCount = only;
    } else {
        BlockCells united{};
        for (std::size_t i = 0; i < terms_.size(); ++i) {
            if (summaries[i] != 0) unite(united, terms_[i]->cells().block(block));
        }
        for (Cell& cell : united) cell &= hitBits;
        if (tagSummary != 0) unite(united, tags_->cells().block(block));
        hitCount = countHits(united);
    }
    return hitCount == 0 ? 0 : score(summaries.data(), tagSummary);
}

/// The bounds of a block's scores are summed up in numbers of 16 bits, many at a time.
void LexicalScorer::chooseUnits() {
    constexpr double greatestSlope = 250;  // times a strength, it fits
    constexpr double greatestSum = 60000;
    double steepest = 1;
    double sum = index_.weights().people;
    for (const TermEvidence* term : terms_) {
        steepest = std::max(steepest, term->upperLine(0xFF).slope * 256);
        sum += term->greatest() + 1;
    }
    unitsPerPoint_ = std::min(greatestSlope / steepest, greatestSum / sum);
}

LexicalScorer::BlockBounds LexicalScorer::boundsOf(std::size_t block) const {
    BlockBounds bounds{};
    std::uint16_t forPeople = 0;
    for (const TermEvidence* term : terms_) {
        const Cell summary = term->cells().summary(block);
        if (summary == 0) continue;
        const TermEvidence::Line line = term->upperLine(bitsOf(summary));
        // One unit more for what the division below cuts off.
        const auto start = static_cast<std::uint16_t>(std::ceil(line.start * unitsPerPoint_) + 1);
        const auto slope = static_cast<std::uint16_t>(std::ceil(line.slope * 256 * unitsPerPoint_));
        const CellMap::Block cells = term->cells().block(block);
        for (std::size_t i = 0; i < bounds.size(); ++i) {
            const std::uint16_t strength = cells[i] >> 8;
            const std::uint16_t held = cells[i] != 0 ? 0xFFFF : 0;
            bounds[i] = static_cast<std::uint16_t>(
                bounds[i] + (start & held) + (static_cast<std::uint16_t>(strength * slope) >> 8));
        }
        if ((bitsOf(summary) & peopleBit) != 0) {
            forPeople =
                static_cast<std::uint16_t>(std::ceil(index_.weights().people * unitsPerPoint_));
        }
    }
    if (forPeople != 0) {
        for (std::uint16_t& bound : bounds) bound = static_cast<std::uint16_t>(bound + forPeople);
    }
    return bounds;
}

void LexicalScorer::scoreMemory(std::size_t block, std::size_t place, Best& best) const {
    Cell all = 0;
    for (std::size_t i = 0; i < terms_.size(); ++i) {
        scratch_[i] = terms_[i]->cells().block(block)[place];
        all |= scratch_[i];
    }
    const Cell tagCell = tags_ == nullptr ? Cell{0} : tags_->cells().block(block)[place];
    if ((all & hitBits) == 0 && tagCell == 0) return;
    const double total = score(scratch_.data(), tagCell);
    if (best.admits(total)) {
        best.offer(static_cast<Ordinal>(block * CellMap::blockSize + place), total);
    }
}

void LexicalScorer::scan(std::size_t block, Best& best) const {
    const bool tagged = tags_ != nullptr && tags_->cells().summary(block) != 0;
    if (tagged || !best.isFull()) {
        for (std::size_t i = 0; i < CellMap::blockSize; ++i) scoreMemory(block, i, best);
        return;
    }
    const BlockBounds bounds = boundsOf(block);
    const auto needed = static_cast<std::uint16_t>(
        std::clamp(std::floor(best.least() * unitsPerPoint_), 0.0, 65535.0));
    for (std::size_t start = 0; start < bounds.size(); start += stripSize) {
        std::uint16_t highest = 0;
        for (std::size_t i = 0; i < stripSize; ++i) highest = std::max(highest, bounds[start + i]);
        if (highest < needed) continue;
        for (std::size_t i = start; i < start + stripSize; ++i) {
            if (bounds[i] >= needed) scoreMemory(block, i, best);
        }
    }
}

std::size_t LexicalScorer::blockCount() const {
    return (index_.ordinalCount() + CellMap::blockSize - 1) / CellMap::blockSize;
}

std::size_t LexicalScorer::countUpTo(std::size_t enough) const {
    std::size_t count = 0;
    for (std::size_t block = 0; block < blockCount() && count < enough; ++block) {
        std::size_t hits = 0;
        examine(block, hits);
        count += hits;
    }
    return count;
}

LexicalRanking LexicalScorer::rank(std::size_t limit) const {
    LexicalRanking ranking;
    std::vector<BlockBound> bounds;
    for (std::size_t block = 0; block < blockCount(); ++block) {
        std::size_t hits = 0;
        const double bound = examine(block, hits);
        if (hits == 0) continue;
        ranking.totalCount += hits;
        bounds.push_back({bound, static_cast<std::uint32_t>(block)});
    }
    const auto later = [](const BlockBound& a, const BlockBound& b) {
        return a.bound != b.bound ? a.bound < b.bound : a.block > b.block;
    };
    std::make_heap(bounds.begin(), bounds.end(), later);
    Best best(index_, limit);
    while (!bounds.empty() && best.admits(bounds.front().bound)) {
        scan(bounds.front().block, best);
        std::pop_heap(bounds.begin(), bounds.end(), later);
        bounds.pop_back();
    }
    ranking.best = best.take();
    return ranking;
}

}  // namespace nookery
