#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "retrieval/index/RankingWeights.h"
#include "retrieval/index/TokenStreams.h"

namespace nookery {

/// Where a token stands in a memory: a bit a field, and one for the people's names.
using FieldMask = std::uint8_t;
constexpr FieldMask fieldBit(SearchField field) {
    return static_cast<FieldMask>(1U << static_cast<unsigned>(field));
}
constexpr FieldMask peopleBit = 1U << searchFieldCount;

/// The best field of a mask that is not 0.
SearchField bestField(FieldMask mask);

/// How strongly a memory holds a token, 1 to 255: the band of its best field, and within it the
/// frequency weighted by fields, saturated, and discounted for long memories.
std::uint8_t impactOf(const RankingWeights& weights, FieldMask mask, double weightedFrequency,
                      std::size_t length, double averageLength);

/// What finding a token in a section means: its field (of those that the part names) and how much
/// one occurrence counts.
struct SectionMeaning {
    FieldMask mask = 0;
    double frequency = 0;
};
using SectionMeanings = std::array<SectionMeaning, static_cast<std::size_t>(Section::end) + 1>;
SectionMeanings sectionMeanings(const RankingWeights& weights);

/// Sums up a memory's stream: each token once, with its fields and its weighted frequency. Keeps
/// its working memory from one memory to the next.
class TermFrequencies {
  public:
    struct Entry {
        TokenId token = 0;
        FieldMask mask = 0;
        float weightedFrequency = 0;
    };

    explicit TermFrequencies(const SectionMeanings& meanings) : meanings_(meanings) {}

    /// Takes a stream whose tokens are below `vocabularySize`. What was counted before is gone.
    void count(TokenStream stream, std::size_t vocabularySize);

    std::span<const Entry> entries() const { return entries_; }
    std::span<const std::uint32_t> tagNumbers() const { return tagNumbers_; }
    /// How many tokens the memory's texts have.
    std::size_t length() const { return length_; }
    std::size_t byteCount() const;

  private:
    Entry& entryOf(TokenId token);

    SectionMeanings meanings_;
    std::vector<Entry> entries_;
    std::vector<std::uint32_t> tagNumbers_;
    std::size_t length_ = 0;
    // For each token where it stands in `entries_`; true only when that entry is the token's.
    std::vector<std::uint32_t> places_;
};

}  // namespace nookery
