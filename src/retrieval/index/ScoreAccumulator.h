#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "retrieval/index/TokenStreams.h"

namespace nookery {

/// How one memory matches, in two bytes: bits that say where, and a strength. 0 is no match.
using MatchScore = std::uint16_t;
constexpr MatchScore makeMatchScore(std::uint8_t bits, std::uint8_t strength) {
    return static_cast<MatchScore>(bits | strength << 8);
}
constexpr std::uint8_t bitsOf(MatchScore score) { return static_cast<std::uint8_t>(score); }
constexpr std::uint8_t strengthOf(MatchScore score) {
    return static_cast<std::uint8_t>(score >> 8);
}

/// Accumulates the match scores of all memories, most of which stay 0. The scores lie in blocks of
/// 64 with a summary each, so that a search over a million memories need only look at the blocks
/// that can hold a good one.
class ScoreAccumulator {
  public:
    static constexpr std::size_t blockSize = 64;
    using Block = std::span<const MatchScore, blockSize>;

    static std::size_t blockCountFor(std::size_t memoryCount) {
        return (memoryCount + blockSize - 1) / blockSize;
    }

    /// Sets the scores of all ordinals below `count` to 0. Uses its memory again.
    void reset(std::size_t count);

    /// Makes the memory a hit, adds the bits to its score and keeps the greater strength.
    void merge(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        hits_[ordinal / blockSize] |= std::uint64_t{1} << ordinal % blockSize;
        mergeScore(ordinal, bits, strength);
    }

    /// The same, except that the memory does not become a hit.
    void mergeWithoutHit(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        touched_[ordinal / blockSize] = 1;
        mergeScore(ordinal, bits, strength);
    }

    /// Makes the summaries, removes the hits that are not alive, and counts the others. To be
    /// called once, after the last merge. `alive` has a bit for each memory and a word for each
    /// block.
    void summarise(std::span<const std::uint64_t> alive);

    std::size_t blockCount() const { return hits_.size(); }
    Block block(std::size_t index) const {
        return Block(scores_.data() + index * blockSize, blockSize);
    }
    /// All bits and the greatest strength of a block; 0 when all its scores are 0.
    MatchScore summary(std::size_t index) const { return summaries_[index]; }
    /// The hits of a block, a bit for each memory.
    std::uint64_t hits(std::size_t index) const { return hits_[index]; }
    std::size_t hitCount() const { return hitCount_; }
    MatchScore at(Ordinal ordinal) const { return scores_[ordinal]; }

    std::size_t byteCount() const;

  private:
    void mergeScore(Ordinal ordinal, std::uint8_t bits, std::uint8_t strength) {
        const MatchScore score = scores_[ordinal];
        const std::uint8_t greater = std::max(strengthOf(score), strength);
        scores_[ordinal] = makeMatchScore(bitsOf(score) | bits, greater);
    }

    std::vector<MatchScore> scores_;  // by ordinal, in whole blocks
    std::vector<MatchScore> summaries_;
    std::vector<std::uint64_t> hits_;    // by block
    std::vector<std::uint8_t> touched_;  // by block: 1 when it has scores that make no hit
    std::size_t hitCount_ = 0;
};

}  // namespace nookery
