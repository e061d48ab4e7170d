#pragma once

#include <string>
#include <string_view>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/LexicalSearch.h"

namespace nookery {

/// What each stage of the lexical search made of a query, as lines of text for people: its forms,
/// what they were found in, the words they led to, and how the first hits got their scores.
std::string explainSearch(const LexicalIndex& index, LexicalSearch& search,
                          std::string_view searchText);

}  // namespace nookery
