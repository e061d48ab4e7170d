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

/// The bits of a term's match scores: those of FieldMask for the fields that hold the term, and
/// these for a memory that holds another word in its place.
constexpr std::uint8_t correctedBit = 1U << 5;  ///< a correction of a word that no memory holds
constexpr std::uint8_t expandedBit = 1U << 6;   ///< a word that was added; makes no hit alone

/// The tokens that match a term in one way.
struct TermMatch {
    std::string description;  ///< for people: "whole word", "inside", ...
    std::size_t tokenCount = 0;
    std::size_t memoryCount = 0;  ///< sum over the tokens
    double factor = 0;            ///< what a match is worth, 0 to 1
};

/// The matches of one term of a query: for each memory the fields that hold the term, and how
/// strongly, in 255ths of the strongest possible match.
class TermMatches {
  public:
    /// Looks the term up. `accumulator` may be one of an earlier term, whose memory is used again.
    TermMatches(const LexicalIndex& index, const QueryTerm& term, ScoreAccumulator accumulator);

    const ScoreAccumulator& accumulator() const { return accumulator_; }
    ScoreAccumulator takeAccumulator() { return std::move(accumulator_); }

    /// What the term adds to a memory's score in both passes, without relevance.
    double weight(MatchScore score) const {
        return weights_[rowOf(bitsOf(score))][strengthOf(score)];
    }
    /// What the term adds to the relevance, before coverage.
    double relevance(MatchScore score) const { return relevanceStep_ * strengthOf(score); }
    /// Upper bounds of what the term adds to any memory of a block.
    struct BlockMax {
        double weight = 0;
        double relevance = 0;
        bool isHeld = false;  ///< whether a memory of the block holds the term
    };
    const BlockMax& blockMax(std::size_t block) const { return blockMaxima_[block]; }

    /// An upper bound of what the term adds to any memory of the library, relevance included.
    double maxScore() const { return maxScore_; }

    /// The rows of the table of weights: one for each field, and one for words that were not typed.
    static constexpr std::size_t rowCount = searchFieldCount + 1;
    static std::size_t rowOf(std::uint8_t bits);

    /// A linear upper bound: in this row or a later one, no score has a `weight` plus `relevance`
    /// above `start` plus `slope` times its strength.
    struct Line {
        double start = 0;
        double slope = 0;
    };
    Line upperLine(std::size_t row) const;
    /// An upper bound of `weight` plus `relevance` for every possible score.
    double scoreBound() const;

    /// All tokens that match, those of the expansion among them, ascending.
    const std::vector<TokenId>& tokens() const { return tokens_; }
    /// The tokens that the term was expanded with: of the same stem, or corrections.
    const std::vector<TokenId>& expandedTokens() const { return expanded_; }
    /// How many memories the term alone finds.
    std::size_t hitCount() const { return accumulator_.hitCount(); }
    /// Whether a person's name holds the term.
    bool isInPeople() const { return inPeople_; }
    /// Whether no memory holds the term, so that its corrections stand in for it.
    bool isCorrected() const { return corrected_; }
    const std::vector<TermMatch>& matches() const { return matches_; }
    /// The inverse document frequency, scaled to 0 to 1.
    double rarity() const { return rarity_; }
    bool isFunctionWord() const { return isFunctionWord_; }

    /// The sections of a memory's stream with a match, a bit for each Section.
    std::uint32_t sectionsIn(TokenStream stream) const;

  private:
    void fillWeights(const RankingWeights& weights, double scale, bool isShort);
    void summarise(std::span<const std::uint64_t> alive);
    void recordTokens(const std::vector<TokenId>& tokens, bool expanded);
    friend class TermMatcher;

    ScoreAccumulator accumulator_;
    std::vector<TokenId> tokens_;
    std::vector<TokenId> expanded_;
    std::vector<PhraseMatcher> phrases_;  // for forms of several pieces
    std::vector<TermMatch> matches_;
    std::vector<BlockMax> blockMaxima_;
    double maxScore_ = 0;
    bool inPeople_ = false;
    bool corrected_ = false;
    bool isFunctionWord_ = false;
    double rarity_ = 0;
    double relevanceStep_ = 0;
    std::array<std::array<double, 256>, rowCount> weights_{};
};

}  // namespace nookery
