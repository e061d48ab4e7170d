#include "retrieval/index/ScoreAccumulator.h"

#include <algorithm>
#include <bit>

namespace nookery {

void ScoreAccumulator::reset(std::size_t count) {
    const std::size_t blocks = blockCountFor(count);
    for (std::size_t i = 0; i < summaries_.size(); ++i) {
        if (summaries_[i] == 0) continue;
        std::fill_n(scores_.begin() + static_cast<std::ptrdiff_t>(i * blockSize), blockSize,
                    MatchScore{0});
    }
    scores_.resize(blocks * blockSize, 0);
    summaries_.assign(blocks, 0);
    hits_.assign(blocks, 0);
    touched_.assign(blocks, 0);
    hitCount_ = 0;
}

void ScoreAccumulator::summarise(std::span<const std::uint64_t> alive) {
    for (std::size_t i = 0; i < hits_.size(); ++i) {
        if (hits_[i] == 0 && touched_[i] == 0) continue;
        hits_[i] &= alive[i];
        hitCount_ += static_cast<std::size_t>(std::popcount(hits_[i]));
        MatchScore bits = 0;
        MatchScore strongest = 0;
        for (const MatchScore score : block(i)) {
            bits |= score;
            strongest = std::max<MatchScore>(strongest, score >> 8);
        }
        summaries_[i] = makeMatchScore(bitsOf(bits), static_cast<std::uint8_t>(strongest));
    }
}

std::size_t ScoreAccumulator::byteCount() const {
    return (scores_.capacity() + summaries_.capacity()) * sizeof(MatchScore) +
           hits_.capacity() * sizeof(std::uint64_t) + touched_.capacity();
}

}  // namespace nookery
