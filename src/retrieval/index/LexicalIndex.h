#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
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

class TokenBatch;

/// When the postings of a library that is put into the index are derived.
enum class Deriving {
    atOnce,
    /// Those of a token when somebody asks for them, in a pass over all memories: faster for a few
    /// searches. All are after a dozen passes, or when a memory comes in.
    asNeeded,
};

/// The index of the library: which memories hold which token, where, and how strongly.
///
/// Memories get ordinals, counted up from 0. A changed memory gets a new ordinal; its old one is
/// dead. The forward index (TokenStreams) has the tokens of each memory. The inverted index
/// (Postings) is derived from it: the main part at load and again when a quarter of the library has
/// changed, the auxiliary part with every memory that comes in between.
///
/// No single change takes long, however large the library: what is due for all memories, deriving
/// the postings again or dropping the dead ones, is done beside the index in use, a few memories
/// with each memory that comes in, and takes its place when it is complete.
///
/// Main thread. `putAll` and `postingsOf` use further threads inside.
class LexicalIndex {
  public:
    explicit LexicalIndex(const RankingWeights& weights = {});
    ~LexicalIndex();
    LexicalIndex(LexicalIndex&&) noexcept;
    LexicalIndex& operator=(LexicalIndex&&) noexcept;

    const RankingWeights& weights() const { return weights_; }
    const SectionMeanings& meanings() const { return meanings_; }

    void put(const CrumbItemPointer& item, const MemoryAttributes& attributes);
    /// `attributes` has one entry for each item, or none at all.
    void putAll(std::span<const CrumbItemPointer> items,
                std::span<const MemoryAttributes> attributes, Deriving deriving = Deriving::atOnce);
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
    /// A bit for each memory that is alive, a word for each block of a ScoreAccumulator.
    std::span<const std::uint64_t> alive() const { return alive_; }
    /// The memory, or null when the ordinal is dead.
    const CrumbItemPointer& item(Ordinal ordinal) const { return items_[ordinal]; }
    /// Kept for dead memories too.
    Timestamp createdAt(Ordinal ordinal) const { return dates_[ordinal]; }
    /// When the newest memory in a block of a ScoreAccumulator was created.
    Timestamp newestIn(std::size_t block) const { return newestDates_[block]; }
    TokenStream stream(Ordinal ordinal) const { return streams_.at(ordinal); }
    void prefetchStream(Ordinal ordinal) const { streams_.prefetch(ordinal); }

    /// The average length of a memory by which impacts are normalised, as it was when the postings
    /// were last derived.
    double averageLength() const { return averageLength_; }

    /// The distinct tokens of a memory with their fields and weighted frequencies, in no particular
    /// order. Valid until the next call.
    std::span<const TermFrequencies::Entry> tokensOf(Ordinal ordinal) const;

    // Tokens --------------------------------------------------------------------------------

    const Vocabulary& vocabulary() const { return vocabulary_; }
    /// How many memories hold a token.
    std::uint32_t documentFrequency(TokenId token) const { return documentFrequencies_[token]; }
    /// Postings that are complete for these tokens, until the next change or call.
    const Postings& postingsOf(std::span<const TokenId> tokens) const;
    /// Whether it costs a pass over all memories to ask for postings.
    bool derivesAsNeeded() const { return partly_.has_value(); }

    std::vector<std::string> tagsOf(Ordinal ordinal) const;
    /// The memories with a tag (in comparable form), ascending, dead ones among them. Null when
    /// none of them is alive.
    const std::vector<Ordinal>* taggedWith(const std::string& tag) const;

    std::size_t byteCount() const;

  private:
    struct Tag {
        std::string name;
        std::vector<Ordinal> ordinals;
        std::size_t aliveCount = 0;
    };

    /// Postings of all memories, on their way.
    class Derivation;

    struct Posting {
        TokenId token;
        Ordinal ordinal;
        PostingMark mark;
    };
    /// What is derived while postings are derived as needed.
    struct PartlyDerived {
        std::unordered_set<TokenId> derived;
        std::size_t passCount = 0;
    };

    // Both in the successor too.
    void add(const CrumbItemPointer& item, const SearchRecord& record);
    void bury(const Uuid& id);

    Ordinal append(const CrumbItemPointer& item, const SearchRecord& record);
    void takeUp(const TokenBatch& batch, std::span<const CrumbItemPointer> items);
    void finishStream(TokenStreamWriter& writer, const std::set<std::string>& tags);
    void addItem(const CrumbItemPointer& item);
    void addToDocumentFrequencies(Ordinal ordinal);
    void appendPostings(Ordinal ordinal, double averageLength, Postings& postings) const;
    void tombstone(Ordinal ordinal);
    void maintain();
    void advanceDerivation();
    void advanceSuccessor();
    void copyFrom(const LexicalIndex& other, Ordinal ordinal);
    double currentAverageLength() const;
    void derivePostings() const;
    bool holdsAny(Ordinal ordinal, const std::vector<bool>& tokens) const;
    std::vector<Posting> findPostings(const std::vector<bool>& wanted, Ordinal begin, Ordinal end,
                                      TermFrequencies& frequencies) const;
    void placePostings(Ordinal ordinal, TermFrequencies& frequencies, double averageLength,
                       Postings::Filler& filler) const;
    std::uint32_t tagNumber(const std::string& name);

    RankingWeights weights_;
    SectionMeanings meanings_;
    Vocabulary vocabulary_;
    std::vector<std::uint32_t> documentFrequencies_;  // by token: memories alive that hold it
    std::vector<CrumbItemPointer> items_;             // by ordinal; null = dead
    std::vector<Timestamp> dates_;                    // by ordinal: when it was created
    std::vector<std::uint64_t> alive_;                // a bit for each ordinal
    std::vector<Timestamp> newestDates_;              // by block of a ScoreAccumulator
    std::unordered_map<Uuid, Ordinal> ordinals_;
    TokenStreams streams_;
    mutable Postings postings_;
    mutable std::optional<PartlyDerived> partly_;  ///< none when all postings are derived
    mutable TermFrequencies termFrequencies_;
    std::vector<Tag> tags_;
    std::unordered_map<std::string, std::uint32_t> tagNumbers_;
    std::uint64_t totalLength_ = 0;  // tokens of all memories alive
    double averageLength_ = 0;
    std::size_t mainOrdinalCount_ = 0;         // ordinals when the postings were last derived
    std::unique_ptr<Derivation> derivation_;   // none unless one is under way
    std::unique_ptr<LexicalIndex> successor_;  // without the dead; none unless one is being made
    Ordinal nextForSuccessor_ = 0;
    Ordinal endForSuccessor_ = 0;  // later memories come into the successor as they come in here
    SearchRecord record_;          // kept so that its memory is used again
    std::uint64_t version_ = 0;
};

}  // namespace nookery
