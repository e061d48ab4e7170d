#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/index/ScoreAccumulator.h"
#include "retrieval/lexical/TermMatches.h"

namespace nookery {

/// How many of the query's tags each memory carries: requested ones in a cell's bits, plain words
/// that equal a tag in its strength.
class TagMatches {
  public:
    TagMatches(const LexicalIndex& index, const std::vector<std::string>& requested,
               const std::vector<std::string>& plain);

    const ScoreAccumulator& cells() const { return cells_; }
    static std::size_t requestedCount(Cell cell) { return bitsOf(cell); }
    static std::size_t plainCount(Cell cell) { return strengthOf(cell); }

  private:
    ScoreAccumulator cells_;
};

struct ScoredMemory {
    Ordinal ordinal = 0;
    double score = 0;
};

struct LexicalRanking {
    std::vector<ScoredMemory> best;  ///< highest score first; ties: newer first, then by id
    std::size_t totalCount = 0;      ///< all hits
};

/// Puts the evidence of a query's terms together: one score a memory, the best few, and the exact
/// number of hits.
///
/// score = tags + people + sum of the terms' weights
///         + (share of the query's words held)^coveragePower * sum of the terms' relevance
///
/// A requested tag is worth more than everything else together. Blocks of memories whose best
/// possible score is too low are counted and not looked into.
class LexicalScorer {
  public:
    /// The evidence must stay while the scorer is used; `tags` may be null.
    LexicalScorer(const LexicalIndex& index, std::vector<const TermMatches*> terms,
                  const TagMatches* tags);

    LexicalRanking rank(std::size_t limit) const;
    double scoreOf(Ordinal ordinal) const;
    /// What one requested tag adds.
    double requestedTagWorth() const { return requestedTagWorth_; }

  private:
    using BlockBounds = std::array<std::uint16_t, ScoreAccumulator::blockSize>;
    /// A block with hits, and the best score that any of them can have.
    struct Candidate {
        double bound = 0;
        std::uint64_t hits = 0;
        std::uint32_t block = 0;
    };
    /// TermMatches::Line in whole units, `slope` in 256ths.
    struct UnitLine {
        std::uint16_t start = 0;
        std::uint16_t slope = 0;
    };
    class Best;

    double tagScore(Cell cell) const;
    double score(const Cell* termCells, Cell tagCell) const;
    std::uint64_t hitsOf(std::size_t block) const;
    double boundOf(std::size_t block) const;
    void keepDecisive(std::vector<Candidate>& candidates, std::size_t first,
                      const Best& best) const;
    void scan(std::size_t block, std::uint64_t hits, Best& best) const;
    void scoreMemory(std::size_t block, std::size_t place, Best& best) const;
    void prepareUnits();
    /// An upper bound for each score in a block without tags, in units.
    BlockBounds boundsIn(std::size_t block) const;

    const LexicalIndex& index_;
    std::vector<const TermMatches*> terms_;
    const TagMatches* tags_;
    bool hasExtras_;                // tags or people's names, which no BlockBest counts
    std::vector<double> coverage_;  // by number of terms held
    double requestedTagWorth_ = 0;
    double unitsPerPoint_ = 0;
    std::vector<std::array<UnitLine, TermMatches::rowCount>> unitLines_;  // a term each
    mutable std::vector<Cell> scratch_;                                   // a cell a term
};

}  // namespace nookery
