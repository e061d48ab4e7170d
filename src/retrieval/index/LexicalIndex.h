#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "records/CrumbItem.h"
#include "retrieval/index/Postings.h"
#include "retrieval/index/RankingWeights.h"
#include "retrieval/index/ScoreAccumulator.h"
#include "retrieval/index/SearchRecord.h"
#include "retrieval/index/TermFrequencies.h"
#include "retrieval/index/TokenStreams.h"
#include "retrieval/index/Vocabulary.h"

namespace nookery {

/// The index of the library: which memories hold which token, where, and how strongly.
///
/// Memories get ordinals, counted up from 0; a changed memory gets a new one and its old one is
/// dead. What a memory holds is written down once, as a stream of token numbers; the postings
/// (which memories hold a token) are derived from the streams: in one sorted part made at load
/// and whenever a quarter of the library has changed, and a growing part for what came since.
///
/// Main thread; taking in many memories, and deriving all postings, use a second one inside.
class LexicalIndex {
  public:
    explicit LexicalIndex(const RankingWeights& weights = {});

    const RankingWeights& weights() const { return weights_; }
    const SectionMeanings& meanings() const { return meanings_; }

    void put(const CrumbItemPointer& item, const MemoryAttributes& attributes);
    /// `attributes` has one entry for each item, or none at all.
    void putAll(std::span<const CrumbItemPointer> items,
                std::span<const MemoryAttributes> attributes);
    void remove(const Uuid& id);
    void clear();

    // Memories ------------------------------------------------------------------------------

    std::size_t size() const { return ordinals_.size(); }
    /// Ordinals are below this; some may be dead.
    std::size_t ordinalCount() const { return items_.size(); }
    /// Grows with every change of the index.
    std::uint64_t version() const { return version_; }
    std::optional<Ordinal> ordinalOf(const Uuid& id) const;
    bool isAlive(Ordinal ordinal) const { return items_[ordinal] != nullptr; }
    /// A bit for each memory alive, a word for each of a ScoreAccumulator's blocks.
    std::span<const std::uint64_t> alive() const { return alive_; }
    /// The memory, or null when the ordinal is dead.
    const CrumbItemPointer& item(Ordinal ordinal) const { return items_[ordinal]; }
    /// Kept for dead memories too.
    Timestamp createdAt(Ordinal ordinal) const { return dates_[ordinal]; }
    /// When the newest of a ScoreAccumulator's block of memories was created.
    Timestamp newestIn(std::size_t block) const { return newestDates_[block]; }
    TokenStream stream(Ordinal ordinal) const { return streams_.at(ordinal); }
    void fetchStream(Ordinal ordinal) const { streams_.fetch(ordinal); }

    /// The length of a memory on which impacts are based: the mean when postings were last derived.
    double averageLength() const { return averageLength_; }

    /// Each token of a memory once, with its fields and impact; in no particular order. Valid
    /// until the next call.
    std::span<const TermFrequencies::Entry> tokensOf(Ordinal ordinal) const;

    // Tokens --------------------------------------------------------------------------------

    const Vocabulary& vocabulary() const { return vocabulary_; }
    std::string_view tokenText(TokenId token) const { return vocabulary_.text(token); }
    /// How many memories hold a token.
    std::uint32_t documentFrequency(TokenId token) const { return frequencies_[token]; }
    const Postings& postings() const { return postings_; }

    std::vector<std::string> tagsOf(Ordinal ordinal) const;
    /// The memories that hold a tag (comparable form), dead ones among them; null when none is
    /// alive.
    const std::vector<Ordinal>* taggedWith(const std::string& tag) const;

    std::size_t byteCount() const;

  private:
    struct Tag {
        std::string name;
        std::vector<Ordinal> ordinals;
        std::size_t aliveCount = 0;
    };

    Ordinal append(const CrumbItemPointer& item, const SearchRecord& record);
    void addItem(const CrumbItemPointer& item);
    void addToFrequencies(Ordinal ordinal);
    void addPostings(Ordinal ordinal);
    void tombstone(Ordinal ordinal);
    void rebuildWhenDue();
    void compact();
    void copyFrom(const LexicalIndex& other, Ordinal ordinal);
    void derivePostings();
    void place(Ordinal ordinal, TermFrequencies& tally, Postings::Filler& filler) const;
    std::uint32_t tagNumber(const std::string& name);

    RankingWeights weights_;
    SectionMeanings meanings_;
    Vocabulary vocabulary_;
    std::vector<std::uint32_t> frequencies_;  // memories alive that hold each token
    std::vector<CrumbItemPointer> items_;     // by ordinal; null = dead
    std::vector<Timestamp> dates_;            // when each was created
    std::vector<std::uint64_t> alive_;        // a bit an ordinal
    std::vector<Timestamp> newestDates_;      // by block of ScoreAccumulator
    std::unordered_map<Uuid, Ordinal> ordinals_;
    TokenStreams streams_;
    Postings postings_;
    mutable TermFrequencies tally_;
    std::vector<Tag> tags_;
    std::unordered_map<std::string, std::uint32_t> tagNumbers_;
    std::uint64_t totalLength_ = 0;  // tokens of all memories alive
    double averageLength_ = 0;
    std::size_t sortedOrdinals_ = 0;  // how many were there then
    SearchRecord record_;             // kept for its memory
    std::uint64_t version_ = 0;
};

}  // namespace nookery
