#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/Uuid.h"

namespace nookery {

/// The parsed and scored form of one query.
struct LexicalSnapshot {
    std::string query;                       ///< trimmed and lower-cased
    std::vector<std::string> literalTerms;   ///< as typed, in order, without "#" terms
    std::vector<std::string> expandedTerms;  ///< the literal terms plus those reached from them
    std::set<std::string> requestedTags;     ///< written with a leading "#"
    std::set<std::string> plainTagTerms;     ///< literal terms that equal an existing tag

    /// The best hits, as many as were asked for; `scores` and `hints` hold exactly these.
    std::vector<Uuid> rankedIDs;
    std::unordered_map<Uuid, double> scores;
    std::unordered_map<Uuid, std::string> hints;

    /// All hits, whatever number was asked for.
    std::size_t totalCount = 0;
    /// Those of them that hold a tag asked for, or a word that at most 5% of the memories hold.
    /// While they are few, the deep stage admits memories by their meaning.
    std::size_t tellingCount = 0;
};

}  // namespace nookery
