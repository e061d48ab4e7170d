#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "retrieval/lexical/LexicalSnapshot.h"
#include "retrieval/lexical/Query.h"

namespace nookery {

/// What an excerpt marks.
struct ExcerptTerms {
    std::vector<QueryTerm> terms;
    std::vector<std::string> expanded;  ///< the query's expansion, as tokens
};

/// The terms of a query that was searched for.
ExcerptTerms excerptTermsOf(const LexicalSnapshot& snapshot);

/// A part of a text, in bytes. It begins and ends between characters.
struct TextRange {
    std::size_t start = 0;
    std::size_t length = 0;

    bool operator==(const TextRange&) const = default;
};

/// A passage of a memory, fit to be shown.
struct Excerpt {
    std::string text;                ///< valid UTF-8 on one line
    std::vector<TextRange> matches;  ///< in order, none overlapping or empty

    bool operator==(const Excerpt&) const = default;
};

/// The passage of about 160 bytes that holds most of the query's terms; without any match, the
/// beginning of the first text that is not empty. "…" shows a cut, and runs of white space become
/// single spaces. Markers that the program wrote are left out. Any thread.
Excerpt bestPassage(const std::vector<std::string_view>& texts, const ExcerptTerms& query);

/// The excerpt's text with each match between `open` and `close`.
std::string withMarks(const Excerpt& excerpt, std::string_view open, std::string_view close);

}  // namespace nookery
