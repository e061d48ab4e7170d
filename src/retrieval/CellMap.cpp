#include "retrieval/CellMap.h"

#include <algorithm>

namespace nookery {

void CellMap::reset(std::size_t count) {
    const std::size_t blocks = (count + blockSize - 1) / blockSize;
    for (std::size_t i = 0; i < touched_.size(); ++i) {
        if (touched_[i] != 0) std::fill_n(cells_.begin() + i * blockSize, blockSize, Cell{0});
    }
    cells_.resize(blocks * blockSize, 0);
    touched_.assign(blocks, 0);
    summaries_.assign(blocks, 0);
    counts_.assign(blocks, 0);
    totalCount_ = 0;
}

void CellMap::summarise(Cell countedBits) {
    for (std::size_t i = 0; i < touched_.size(); ++i) {
        if (touched_[i] == 0) continue;
        Cell bits = 0;
        Cell strongest = 0;
        std::uint16_t count = 0;
        for (const Cell cell : block(i)) {
            bits |= cell;
            strongest = std::max<Cell>(strongest, cell >> 8);
            count = static_cast<std::uint16_t>(count + ((cell & countedBits) != 0));
        }
        counts_[i] = count;
        totalCount_ += count;
        summaries_[i] = makeCell(bitsOf(bits), static_cast<std::uint8_t>(strongest));
    }
}

std::size_t CellMap::byteCount() const {
    return (cells_.capacity() + summaries_.capacity() + counts_.capacity()) * sizeof(Cell) +
           touched_.capacity();
}

}  // namespace nookery
