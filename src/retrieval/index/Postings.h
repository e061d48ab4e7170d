#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "retrieval/index/TermFrequencies.h"
#include "retrieval/index/TokenStreams.h"

namespace nookery {

/// A field mask and an impact in one number.
struct PostingMark {
    FieldMask mask = 0;
    std::uint8_t impact = 0;
};

/// For each token, the memories that hold it, in ascending order, with where and how strongly.
class Postings {
  public:
    struct List {
        std::span<const Ordinal> ordinals;
        std::span<const PostingMark> marks;
    };

    /// Empties all and makes room in the sorted part: `counts[t]` memories for token t.
    void reserve(std::span<const std::uint32_t> counts);
    /// Fills that room from the front with ascending ordinals, or from the back with descending
    /// ones. One of either may work at the same time, on threads of their own: while each memory
    /// is placed by one of them and all counts are right, they meet and do not cross.
    class Filler {
      public:
        enum class Direction { fromFront, fromBack };

        Filler(Postings& postings, Direction direction);
        void place(TokenId token, Ordinal ordinal, PostingMark mark) {
            const std::uint64_t position =
                direction_ == Direction::fromFront ? next_[token]++ : --next_[token];
            postings_.ordinals_[position] = ordinal;
            postings_.marks_[position] = mark;
        }

      private:
        Postings& postings_;
        Direction direction_;
        std::vector<std::uint64_t> next_;
    };

    /// Adds to the growing part; the ordinal is above all before it.
    void append(TokenId token, Ordinal ordinal, PostingMark mark);

    List sorted(TokenId token) const {
        if (token + 1 >= starts_.size()) return {};
        const std::uint64_t start = starts_[token];
        const std::uint64_t count = starts_[token + 1] - start;
        return {{ordinals_.data() + start, count}, {marks_.data() + start, count}};
    }
    List grown(TokenId token) const;

    std::size_t sortedCount() const { return ordinals_.size(); }
    std::size_t grownCount() const { return grownCount_; }
    std::size_t byteCount() const;

  private:
    struct GrownList {
        std::vector<Ordinal> ordinals;
        std::vector<PostingMark> marks;
    };

    std::vector<std::uint64_t> starts_;
    std::vector<Ordinal> ordinals_;
    std::vector<PostingMark> marks_;
    std::unordered_map<TokenId, GrownList> grown_;
    std::size_t grownCount_ = 0;
};

}  // namespace nookery
