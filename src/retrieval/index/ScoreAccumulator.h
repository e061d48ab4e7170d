#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "retrieval/index/TokenStreams.h"

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
class ScoreAccumulator {
  public:
    static constexpr std::size_t blockSize = 64;
    using Block = std::span<const Cell, blockSize>;

    static std::size_t blockCountFor(std::size_t memoryCount) {
        return (memoryCount + blockSize - 1) / blockSize;
    }

    /// All cells 0, for ordinals below `count`. Keeps its memory.
    void reset(std::size_t count);

    /// Adds the bits, keeps the greater strength, and makes the memory a hit.
    void merge(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        hits_[ordinal / blockSize] |= std::uint64_t{1} << ordinal % blockSize;
        mergeCell(ordinal, bits, strength);
    }

    /// The same for what makes no hit.
    void mergeAside(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        touched_[ordinal / blockSize] = 1;
        mergeCell(ordinal, bits, strength);
    }

    /// Makes the summaries, takes away the hits that are not alive (a bit each, a word a block),
    /// and counts the rest; to be called after the last merge.
    void summarise(std::span<const std::uint64_t> alive);

    std::size_t blockCount() const { return hits_.size(); }
    Block block(std::size_t index) const {
        return Block(cells_.data() + index * blockSize, blockSize);
    }
    /// All bits and the greatest strength of a block; 0 when all of its cells are.
    Cell summary(std::size_t index) const { return summaries_[index]; }
    /// A block's hits, a bit each.
    std::uint64_t hits(std::size_t index) const { return hits_[index]; }
    std::size_t hitCount() const { return hitCount_; }
    Cell at(Ordinal ordinal) const { return cells_[ordinal]; }

    std::size_t byteCount() const;

  private:
    void mergeCell(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        const Cell cell = cells_[ordinal];
        const std::uint8_t kept = strengthOf(cell);
        cells_[ordinal] = makeCell(bitsOf(cell) | bits, kept > strength ? kept : strength);
    }

    std::vector<Cell> cells_;  // whole blocks
    std::vector<Cell> summaries_;
    std::vector<std::uint64_t> hits_;    // by block
    std::vector<std::uint8_t> touched_;  // by block: beside the hits, something else is there
    std::size_t hitCount_ = 0;
};

}  // namespace nookery
