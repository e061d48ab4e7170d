#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "foundation/Uuid.h"

namespace nookery {

/// The parsed and scored form of one query.
struct LexicalSnapshot {
    std::string query;                       ///< trimmed and lower-cased
    std::vector<std::string> literalTerms;   ///< as typed, in order, without "#" terms
    std::vector<std::string> expandedTerms;  ///< the literal terms and the query's expansion
    std::string correctedText;               ///< the literal terms, mistyped words corrected
    std::set<std::string> requestedTags;     ///< written with a leading "#"
    std::set<std::string> plainTagTerms;     ///< literal terms that equal an existing tag

    /// The best hits, as many as the caller asked for. `scores` and `hints` have exactly these.
    std::vector<Uuid> rankedIDs;
    std::unordered_map<Uuid, double> scores;
    std::unordered_map<Uuid, std::string> hints;
    /// The ranked hits that hold every word as it was typed.
    std::unordered_set<Uuid> holdingAllWords;

    /// The number of all hits.
    std::size_t totalCount = 0;
    /// The number of ranked hits that hold a requested tag, or more than half of the rare words
    /// typed: those that at most 5% of the memories hold. When there are few such hits, the deep
    /// stage admits memories by their meaning.
    std::size_t strongHitCount = 0;
    /// The score of a memory of average length whose contents hold every word typed once. The deep
    /// stage needs it to make the scores of short and long queries comparable.
    double fullMatchScore = 0;
};

}  // namespace nookery
