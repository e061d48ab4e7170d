#pragma once

#include <string>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/Query.h"
#include "retrieval/lexical/TermMatches.h"

namespace nookery {

/// The one-line reason shown under a hit, for the strongest match of the query in the memory:
///   "Matched #tag", "Matched title", "Matched note", "Found in contents", "Found in image",
///   "Contains Name Name"
/// Empty when the memory matches nothing of the query.
std::string hintFor(const LexicalIndex& index, const Query& query,
                    const std::vector<const TermMatches*>& terms, Ordinal ordinal);

}  // namespace nookery
