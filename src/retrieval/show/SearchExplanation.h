#pragma once

#include <string>
#include <string_view>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/LexicalSearch.h"

namespace nookery {

/// Explains a search in lines of text for people: the forms of each term, what matches them, the
/// query's expansion, and how the first hits got their scores.
std::string explainSearch(const LexicalIndex& index, LexicalSearch& search,
                          std::string_view searchText);

}  // namespace nookery
