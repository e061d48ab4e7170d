#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "retrieval/lexical/Query.h"

namespace nookery {

/// What an excerpt shows of a query.
struct ExcerptTerms {
    std::vector<QueryTerm> terms;
    std::vector<std::string> expanded;  ///< words reached from them, as tokens
};

/// The passage of some texts, about 160 characters long, that holds most of the query's terms,
/// with white space made single spaces, cuts shown by "…", and each match between `open` and
/// `close`. When no term stands in the texts, the beginning of the first that is not empty.
/// Markers that the program wrote are left out. Any thread.
std::string bestPassage(const std::vector<std::string_view>& texts, const ExcerptTerms& query,
                        std::string_view open, std::string_view close);

}  // namespace nookery
