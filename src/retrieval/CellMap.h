#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "retrieval/TokenStreams.h"

namespace nookery {

/// Two bytes about a memory: bits, and a strength.
using Cell = std::uint16_t;
constexpr Cell makeCell(std::uint8_t bits, std::uint8_t strength) {
    return static_cast<Cell>(bits | strength << 8);
}
constexpr std::uint8_t bitsOf(Cell cell) { return static_cast<std::uint8_t>(cell); }
constexpr std::uint8_t strengthOf(Cell cell) { return static_cast<std::uint8_t>(cell >> 8); }

/// A cell for every memory, most of them 0, in blocks with a summary each: what lets a search over
/// a million memories look only at the blocks that can hold a good one.
class CellMap {
  public:
    static constexpr std::size_t blockSize = 256;
    using Block = std::span<const Cell, blockSize>;

    /// All cells 0, for ordinals below `count`. Keeps its memory.
    void reset(std::size_t count);

    /// Adds the bits; keeps the greater strength.
    void merge(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        touched_[ordinal / blockSize] = 1;
        const Cell cell = cells_[ordinal];
        const std::uint8_t kept = strengthOf(cell);
        cells_[ordinal] = makeCell(bitsOf(cell) | bits, kept > strength ? kept : strength);
    }

    /// Makes the summaries and counts the cells that have any of these bits; to be called after
    /// the last `merge`.
    void summarise(Cell countedBits);

    std::size_t blockCount() const { return summaries_.size(); }
    Block block(std::size_t index) const {
        return Block(cells_.data() + index * blockSize, blockSize);
    }
    /// All bits and the greatest strength of a block; 0 when all of its cells are.
    Cell summary(std::size_t index) const { return summaries_[index]; }
    /// How many cells of a block, and of all, were counted.
    std::size_t count(std::size_t index) const { return counts_[index]; }
    std::size_t totalCount() const { return totalCount_; }
    Cell at(Ordinal ordinal) const { return cells_[ordinal]; }

    std::size_t byteCount() const;

  private:
    std::vector<Cell> cells_;  // whole blocks
    std::vector<Cell> summaries_;
    std::vector<std::uint16_t> counts_;
    std::vector<std::uint8_t> touched_;  // by block
    std::size_t totalCount_ = 0;
};

}  // namespace nookery
