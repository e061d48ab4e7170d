#include "retrieval/index/TokenStreams.h"

#include <algorithm>

namespace nookery {

void TokenStreams::append(std::span<const std::uint8_t> bytes) {
    if (bytes.size() > freeCount_) {
        const std::size_t size = std::max(blockSize, bytes.size());
        blocks_.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(size));
        free_ = blocks_.back().get();
        freeCount_ = size;
        byteCount_ += size;
    }
    std::copy(bytes.begin(), bytes.end(), free_);
    places_.push_back(free_);
    free_ += bytes.size();
    freeCount_ -= bytes.size();
}

std::size_t TokenStreams::byteCount() const {
    return byteCount_ + places_.capacity() * sizeof(const std::uint8_t*);
}

}  // namespace nookery
