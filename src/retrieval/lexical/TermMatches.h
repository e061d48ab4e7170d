#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/index/ScoreAccumulator.h"
#include "retrieval/lexical/PhraseMatcher.h"
#include "retrieval/lexical/Query.h"

namespace nookery {

/// The bits of a term's cells: the fields that hold the term, whether a person's name does, and
/// whether only a word reached from it is there.
constexpr std::uint8_t correctedBit = 1U << 5;  ///< a correction of a word that stands nowhere
constexpr std::uint8_t relatedBit = 1U << 6;    ///< a word of the same stem; makes no hit alone

/// A group of tokens by which a term is found, or a phrase.
struct TermMatch {
    std::string description;  ///< for people: "whole word", "inside", ...
    std::size_t tokenCount = 0;
    std::size_t memoryCount = 0;  ///< sum over the tokens
    double factor = 0;            ///< how much of a whole word it is worth
};

/// Everything the library holds of one term of a query: for each memory in which fields the term
/// stands and how strongly, 1 to 255 as a share of the strongest possible match.
class TermMatches {
  public:
    /// Looks the term up. `cells` may be memory left from an earlier term.
    TermMatches(const LexicalIndex& index, const QueryTerm& term, ScoreAccumulator cells);

    const ScoreAccumulator& cells() const { return cells_; }
    ScoreAccumulator takeCells() { return std::move(cells_); }

    /// The weights of both passes for a memory's cell: what the term adds to its score, relevance
    /// left out.
    double weight(Cell cell) const { return weights_[rowOf(bitsOf(cell))][strengthOf(cell)]; }
    /// What the term adds to the relevance, before coverage.
    double relevance(Cell cell) const { return relevanceStep_ * strengthOf(cell); }
    /// The most that any memory of a block earns.
    struct BlockBest {
        double weight = 0;
        double relevance = 0;
        bool isHeld = false;
    };
    const BlockBest& blockBest(std::size_t block) const { return blockBests_[block]; }

    /// The most that any memory earns.
    double greatestFound() const { return greatestFound_; }

    /// Weights go by rows: a row for each field, and one for what was reached, not typed.
    static constexpr std::size_t rowCount = searchFieldCount + 1;
    static std::size_t rowOf(std::uint8_t bits);

    /// For any cell of this row or of a lower one, weight plus relevance is at most this: a part
    /// for being there, and a part for each step of strength.
    struct Line {
        double start = 0;
        double slope = 0;
    };
    Line upperLine(std::size_t row) const;
    /// At most this is `weight` plus `relevance`, for any memory.
    double greatest() const;

    /// Tokens of the library in which the term was found or to which it led, ascending.
    const std::vector<TokenId>& tokens() const { return tokens_; }
    /// The tokens reached, not typed: of the same stem, or corrections.
    const std::vector<TokenId>& expandedTokens() const { return expanded_; }
    /// How many memories the term alone finds.
    std::size_t hitCount() const { return cells_.hitCount(); }
    bool isInPeople() const { return inPeople_; }
    bool isCorrected() const { return corrected_; }
    const std::vector<TermMatch>& matches() const { return matches_; }
    double rarity() const { return rarity_; }
    bool isFunctionWord() const { return isFunctionWord_; }

    /// The sections of a memory's stream where the term, or a word it led to, stands.
    std::uint32_t sectionsIn(TokenStream stream) const;

  private:
    void fillWeights(const RankingWeights& weights, double scale, bool isShort);
    void summarise(std::span<const std::uint64_t> alive);
    void recordTokens(const std::vector<TokenId>& tokens, bool expanded);
    friend class TermMatcher;

    ScoreAccumulator cells_;
    std::vector<TokenId> tokens_;
    std::vector<TokenId> expanded_;
    std::vector<PhraseMatcher> phrases_;  // for forms of several pieces
    std::vector<TermMatch> matches_;
    std::vector<BlockBest> blockBests_;
    double greatestFound_ = 0;
    bool inPeople_ = false;
    bool corrected_ = false;
    bool isFunctionWord_ = false;
    double rarity_ = 0;
    double relevanceStep_ = 0;
    std::array<std::array<double, 256>, rowCount> weights_{};
};

}  // namespace nookery
