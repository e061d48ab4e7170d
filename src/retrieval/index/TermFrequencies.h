#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "retrieval/index/RankingWeights.h"
#include "retrieval/index/TokenStreams.h"

namespace nookery {

/// The fields of a memory that hold a token, a bit for each, and one bit for people's names.
using FieldMask = std::uint8_t;
constexpr FieldMask fieldBit(SearchField field) {
    return static_cast<FieldMask>(1U << static_cast<unsigned>(field));
}
constexpr FieldMask peopleBit = 1U << searchFieldCount;

/// The best field of a mask that is not 0.
SearchField bestField(FieldMask mask);

/// How strongly a memory holds a token, 1 to 255. The best field gives the band. The term
/// frequency, weighted by field, saturated and normalised by length, gives the place within the
/// band.
std::uint8_t impactOf(const RankingWeights& weights, FieldMask mask, double weightedFrequency,
                      std::size_t length, double averageLength);

/// The fields that a section counts as, and how much one occurrence in it counts.
struct SectionMeaning {
    FieldMask mask = 0;
    double frequency = 0;
};
using SectionMeanings = std::array<SectionMeaning, static_cast<std::size_t>(Section::end) + 1>;
SectionMeanings sectionMeanings(const RankingWeights& weights);

/// Counts the tokens of one memory: each distinct token with its fields and its weighted frequency.
/// Uses its working memory again for the next one.
class TermFrequencies {
  public:
    struct Entry {
        TokenId token = 0;
        FieldMask mask = 0;
        float weightedFrequency = 0;
    };

    explicit TermFrequencies(const SectionMeanings& meanings) : meanings_(meanings) {}

    /// Counts a stream whose tokens are below `vocabularySize`. Forgets the stream before.
    void count(TokenStream stream, std::size_t vocabularySize);

    std::span<const Entry> entries() const { return entries_; }
    std::span<const std::uint32_t> tagNumbers() const { return tagNumbers_; }
    /// The number of tokens in title, note and contents.
    std::size_t length() const { return length_; }
    std::size_t byteCount() const;

  private:
    Entry& entryOf(TokenId token);

    SectionMeanings meanings_;
    std::vector<Entry> entries_;
    std::vector<std::uint32_t> tagNumbers_;
    std::size_t length_ = 0;
    // For each token its place in `entries_`. Never cleared: a place counts only when the entry
    // there is the token's.
    std::vector<std::uint32_t> places_;
};

}  // namespace nookery
