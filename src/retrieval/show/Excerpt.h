#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "retrieval/lexical/Query.h"

namespace nookery {

/// What an excerpt marks.
struct ExcerptTerms {
    std::vector<QueryTerm> terms;
    std::vector<std::string> expanded;  ///< the query's expansion, as tokens
};

/// The passage of about 160 bytes that holds most of the query's terms; without any match, the
/// beginning of the first text that is not empty. Each match stands between `open` and `close`, "…"
/// shows a cut, and runs of white space become single spaces. Markers that the program wrote are
/// left out. Any thread.
std::string bestPassage(const std::vector<std::string_view>& texts, const ExcerptTerms& query,
                        std::string_view open, std::string_view close);

}  // namespace nookery
