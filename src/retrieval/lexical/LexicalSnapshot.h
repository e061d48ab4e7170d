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
    std::vector<std::string> expandedTerms;  ///< the literal terms plus those reached from them
    std::string understoodText;              ///< the literal terms, mistyped words corrected
    std::set<std::string> requestedTags;     ///< written with a leading "#"
    std::set<std::string> plainTagTerms;     ///< literal terms that equal an existing tag

    /// The best hits, as many as were asked for; `scores` and `hints` hold exactly these.
    std::vector<Uuid> rankedIDs;
    std::unordered_map<Uuid, double> scores;
    std::unordered_map<Uuid, std::string> hints;
    /// Those of the best hits that hold every word as it was typed.
    std::unordered_set<Uuid> holdingAllWords;

    /// All hits, whatever number was asked for.
    std::size_t totalCount = 0;
    /// Those of the ranked hits that hold a tag asked for, or more than half of those words typed
    /// that at most 5% of the memories hold. While they are few, the deep stage admits memories by
    /// their meaning.
    std::size_t tellingCount = 0;
    /// The score of a memory that holds every word typed once in contents of middling length: by
    /// it the deep stage makes scores of short and long queries comparable.
    double fullMatchScore = 0;
};

}  // namespace nookery
