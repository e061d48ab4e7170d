#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace nookery {

/// The fields in which a term can be found, best first. The best field of a memory that holds the
/// term decides the term's weights there.
enum class SearchField : std::uint8_t { title, note, contents, elsewhere };
constexpr std::size_t searchFieldCount = 4;

/// How much of a token a term is, best first.
enum class MatchKind : std::uint8_t { whole, stem, prefix, inside };
constexpr std::size_t matchKindCount = 4;

/// Every number of the lexical ranking. docs/ranking.md has the formula; the relevance benchmark
/// measures what each number is worth.
struct RankingWeights {
    // First pass: the same for every word.
    double requestedTag = 22.0;
    double plainTag = 5.5;
    double people = 12.0;
    std::array<double, searchFieldCount> firstPass{6.0, 4.5, 3.5, 2.0};

    // Second pass: multiplied by the strength of the match, 0 to `greatestStrength`.
    std::array<double, searchFieldCount> secondPass{8.0, 4.0, 2.1, 1.8};
    double expanded = 1.6;  ///< for words that the query was expanded with
    double floor = 0.8;     ///< a smaller weight counts as 0
    double greatestStrength = 2.0;

    // Relevance of one word: this, multiplied by the word's rarity (its inverse document frequency,
    // 0 to 1), by the kind of match, and by the impact of the memory's postings.
    double relevance = 150.0;
    /// The greatest rarity of a function word, however few memories hold it.
    double functionWordRarity = 0.1;
    std::array<double, matchKindCount> kindFactor{1.0, 0.8, 0.3, 0.1};
    /// Coverage, the share of the query's words that a memory holds, raised to this power, scales
    /// the sum of relevance.
    double coveragePower = 1.4;
    double shortQueryTerms = 4;  ///< for a query of more words the power falls

    // Impact: each field has a band of its own, so that frequency never lifts a lower field above a
    // higher one. The saturated term frequency decides the place within the band.
    std::array<double, searchFieldCount> bandFloor{0.84, 0.80, 0.04, 0.01};
    std::array<double, searchFieldCount> bandWidth{0.16, 0.04, 0.76, 0.02};
    std::array<double, searchFieldCount> fieldFrequency{3.0, 2.0, 1.0, 1.0};
    double saturation = 1.2;        ///< k1
    double lengthInfluence = 0.75;  ///< b

    /// The score that the deep stage gives to a memory whose contents hold every word. It sets the
    /// scale on which meaning, association, age and use are added.
    double deepFullMatchScore = 30;
    std::size_t fullMatchTerms = 6;  ///< in a longer query, this many words are a full match

    // Query expansion: what an added word earns, as a share of the typed word's relevance.
    double stemShare = 0.5;        ///< another form of a typed word that was found
    double correctionShare = 0.7;  ///< a correction of a typed word that no memory holds
    /// A correction of a typed word that was found only inside other words. It makes no hit alone.
    double insideCorrectionShare = 1.0;
    /// A word of so many letters or more that has no other word one edit away is taken for a
    /// mistyped prefix.
    std::size_t fewestPrefixLetters = 6;
};

/// A word that more than this share of the memories hold is too common to tell memories apart.
constexpr double commonWordShare = 0.05;

}  // namespace nookery
