#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "retrieval/index/TermFrequencies.h"
#include "retrieval/index/TokenStreams.h"

namespace nookery {

/// Where and how strongly a memory holds a token.
struct PostingMark {
    FieldMask mask = 0;
    std::uint8_t impact = 0;
};

/// The inverted index: for each token the memories that hold it, in ascending order. Its main part
/// is filled once for the whole library; later memories go to the auxiliary part.
class Postings {
  public:
    struct List {
        std::span<const Ordinal> ordinals;
        std::span<const PostingMark> marks;
    };

    /// Empties both parts and makes room in the main one, `counts[t]` memories for token t.
    void reserve(std::span<const std::uint32_t> counts);
    /// Fills the main part, from the front with ascending ordinals or from the back with descending
    /// ones. Two fillers, one for each direction, may work on two threads at once: as long as the
    /// counts are right and each memory is placed by one filler only, they never write to the same
    /// place.
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

    /// Adds to the auxiliary part. The ordinal must be above all earlier ones.
    void append(TokenId token, Ordinal ordinal, PostingMark mark);

    List mainList(TokenId token) const {
        if (token + 1 >= starts_.size()) return {};
        const std::uint64_t start = starts_[token];
        const std::uint64_t count = starts_[token + 1] - start;
        return {{ordinals_.get() + start, count}, {marks_.get() + start, count}};
    }
    List auxiliaryList(TokenId token) const;

    std::size_t mainCount() const { return mainCount_; }
    std::size_t auxiliaryCount() const { return auxiliaryCount_; }
    std::size_t byteCount() const;

  private:
    struct AuxiliaryList {
        std::vector<Ordinal> ordinals;
        std::vector<PostingMark> marks;
    };

    std::vector<std::uint64_t> starts_;  // by token, of its main list
    // Not cleared when room is made: a filler writes to every place.
    std::unique_ptr<Ordinal[]> ordinals_;
    std::unique_ptr<PostingMark[]> marks_;
    std::size_t mainCount_ = 0;
    std::unordered_map<TokenId, AuxiliaryList> auxiliary_;
    std::size_t auxiliaryCount_ = 0;
};

}  // namespace nookery
