#include "retrieval/index/Postings.h"

namespace nookery {

void Postings::reserve(std::span<const std::uint32_t> counts) {
    *this = {};
    starts_.reserve(counts.size() + 1);
    std::uint64_t total = 0;
    for (const std::uint32_t count : counts) {
        starts_.push_back(total);
        total += count;
    }
    starts_.push_back(total);
    ordinals_ = std::make_unique_for_overwrite<Ordinal[]>(total);
    marks_ = std::make_unique_for_overwrite<PostingMark[]>(total);
    mainCount_ = total;
}

Postings::Filler::Filler(Postings& postings, Direction direction)
    : postings_(postings),
      direction_(direction),
      next_(postings.starts_.begin() + (direction == Direction::fromFront ? 0 : 1),
            postings.starts_.end()) {}

void Postings::append(TokenId token, Ordinal ordinal, PostingMark mark) {
    AuxiliaryList& list = auxiliary_[token];
    list.ordinals.push_back(ordinal);
    list.marks.push_back(mark);
    ++auxiliaryCount_;
}

Postings::List Postings::auxiliaryList(TokenId token) const {
    if (auxiliaryCount_ == 0) return {};
    const auto found = auxiliary_.find(token);
    if (found == auxiliary_.end()) return {};
    return {found->second.ordinals, found->second.marks};
}

std::size_t Postings::byteCount() const {
    constexpr std::size_t nodeOverhead = 64;
    return starts_.capacity() * sizeof(std::uint64_t) +
           mainCount_ * (sizeof(Ordinal) + sizeof(PostingMark)) + auxiliary_.size() * nodeOverhead +
           auxiliaryCount_ * (sizeof(Ordinal) + sizeof(PostingMark)) * 2;
}

}  // namespace nookery
