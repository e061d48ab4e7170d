#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/index/ScoreAccumulator.h"
#include "retrieval/lexical/TermMatches.h"

namespace nookery {

/// How many of the query's tags each memory has. A match score's bits count the requested tags, its
/// strength the plain words that equal a tag.
class TagMatches {
  public:
    TagMatches(const LexicalIndex& index, const std::vector<std::string>& requested,
               const std::vector<std::string>& plain);

    const ScoreAccumulator& accumulator() const { return accumulator_; }
    static std::size_t requestedCount(MatchScore score) { return bitsOf(score); }
    static std::size_t plainCount(MatchScore score) { return strengthOf(score); }

  private:
    ScoreAccumulator accumulator_;
};

struct ScoredMemory {
    Ordinal ordinal = 0;
    double score = 0;
};

struct LexicalRanking {
    std::vector<ScoredMemory> best;  ///< highest score first; ties: newer first, then by id
    std::size_t totalCount = 0;      ///< the number of all hits
};

/// Combines the matches of a query's terms: scores the memories, finds the best ones, and counts
/// all hits exactly.
///
/// score = tags + people + sum of the terms' weights
///         + (share of the query's words held)^coveragePower * sum of the terms' relevance
///
/// A requested tag is worth more than everything else together. Ranking works like block-max WAND:
/// it counts the hits of every block but scores only blocks whose upper bound is high enough.
class LexicalScorer {
  public:
    /// `terms` and `tags` must outlive the scorer; `tags` may be null.
    LexicalScorer(const LexicalIndex& index, std::vector<const TermMatches*> terms,
                  const TagMatches* tags);

    LexicalRanking rank(std::size_t limit) const;
    double scoreOf(Ordinal ordinal) const;
    /// What one requested tag adds.
    double requestedTagWorth() const { return requestedTagWorth_; }

  private:
    using BlockBounds = std::array<std::uint16_t, ScoreAccumulator::blockSize>;
    /// A block with hits, and an upper bound of their scores.
    struct CandidateBlock {
        double bound = 0;
        std::uint64_t hits = 0;
        std::uint32_t block = 0;
    };
    /// TermMatches::Line in 16-bit fixed point: `start` in units, `slope` in 256ths of a unit.
    struct UnitLine {
        std::uint16_t start = 0;
        std::uint16_t slope = 0;
    };
    class TopMemories;

    double worthOfTags(MatchScore tags) const;
    double score(const MatchScore* terms, MatchScore tags) const;
    std::uint64_t hitsOf(std::size_t block) const;
    double boundOf(std::size_t block) const;
    void keepEssential(std::span<CandidateBlock> candidates, const TopMemories& best) const;
    void scan(std::size_t block, std::uint64_t hits, TopMemories& best) const;
    void scoreMemory(std::size_t block, std::size_t place, TopMemories& best) const;
    void prepareUnits();
    /// An upper bound, in units, of each score in a block that has no tags.
    BlockBounds boundsIn(std::size_t block) const;

    const LexicalIndex& index_;
    std::vector<const TermMatches*> terms_;
    const TagMatches* tags_;
    bool hasExtras_;               // tags or people's names match, which no BlockMax counts
    std::vector<float> coverage_;  // by number of terms held
    double requestedTagWorth_ = 0;
    double unitsPerPoint_ = 0;
    std::vector<std::array<UnitLine, TermMatches::rowCount>> unitLines_;  // by term
    mutable std::vector<MatchScore> scratch_;                             // by term
};

}  // namespace nookery
