#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nookery {

/// Every number of the lexical ranking. What they mean together is in docs/ranking.md; the
/// relevance benchmark says what each is worth.
///
/// The fields in which a term can be found, best first. A memory's best field for a term decides
/// its weights.
enum class SearchField : std::uint8_t { title, note, contents, elsewhere };
constexpr std::size_t searchFieldCount = 4;

/// How much of a token a term is, best first.
enum class MatchKind : std::uint8_t { whole, stem, prefix, inside };
constexpr std::size_t matchKindCount = 4;

struct RankingWeights {
    // What is worth how much, whatever the word.
    double requestedTag = 22.0;
    double plainTag = 5.5;
    double people = 12.0;
    std::array<double, searchFieldCount> firstPass{6.0, 4.5, 3.5, 2.0};

    // Second pass: times the strength of the match, 0 to `greatestStrength`.
    std::array<double, searchFieldCount> secondPass{8.0, 4.0, 2.1, 1.8};
    double expanded = 1.6;
    double floor = 0.8;
    double greatestStrength = 2.0;

    // The relevance term: at most this for one word, times how rare the word is (0 to 1), how
    // much of a token it is, and where and how often it stands (the impact).
    double relevance = 150.0;
    /// At most so rare counts a word that only carries grammar, however few memories hold it.
    double functionWordRarity = 0.1;
    std::array<double, matchKindCount> kindFactor{1.0, 0.8, 0.3, 0.1};
    /// The share of all words of the query that a memory holds, to this power, scales the term.
    double coveragePower = 1.4;
    double shortQueryTerms = 4;  ///< with more words than this the power falls

    // Impact: in each field a band of its own, so that frequency never lifts a lower field above
    // a higher one; within the band the saturated frequency.
    std::array<double, searchFieldCount> bandFloor{0.84, 0.80, 0.04, 0.01};
    std::array<double, searchFieldCount> bandWidth{0.16, 0.04, 0.76, 0.02};
    std::array<double, searchFieldCount> fieldFrequency{3.0, 2.0, 1.0, 1.0};
    double saturation = 1.2;        ///< k1
    double lengthInfluence = 0.75;  ///< b

    /// What a memory whose contents hold every word scores in the deep stage, before its blends:
    /// the scale on which meaning, association, age and use are added.
    double deepFullMatchScore = 30;
    std::size_t fullMatchTerms = 6;  ///< of a longer question, holding this many is full

    // Words reached, not typed: a share of the relevance of a whole word.
    double stemShare = 0.5;        ///< beside the typed word
    double correctionShare = 0.7;  ///< when the typed word stands nowhere
    /// Beside parts inside words, as a share of those; finds no memory alone.
    double besidePartsShare = 1.0;
    /// From so many letters on, a word that is nothing else is taken for a beginning, mistyped.
    std::size_t fewestBeginningLetters = 6;
};

/// The share of the collection from which on a word is too common to say much.
constexpr double commonWordShare = 0.05;

}  // namespace nookery
