#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// One word of a query, as typed between white space.
struct QueryTerm {
    std::string typed;       ///< lower-cased
    std::string normal;      ///< its normal form; empty for other scripts
    std::string allScripts;  ///< its all-scripts form, when that differs from the normal form
};

/// A parsed query.
struct Query {
    std::string text;                     ///< trimmed and lower-cased
    std::vector<QueryTerm> terms;         ///< in the order typed, "#" terms left out
    std::set<std::string> requestedTags;  ///< written with a leading "#", here without it

    /// Nothing that could find a memory was typed.
    bool isEmpty() const { return terms.empty() && requestedTags.empty(); }
};

Query parseQuery(std::string_view searchText);

/// How a piece of a term must stand in a token of a memory.
enum class PieceMatch {
    inside,  ///< anywhere in the token
    whole,
    ending,     ///< the token ends with it
    beginning,  ///< the token begins with it
};

struct TermPiece {
    std::string text;
    PieceMatch match = PieceMatch::whole;
};

/// The tokens that must follow one another in a memory for it to hold a term of this form. One
/// piece of three letters or more may stand inside a token; shorter ones and ideographs must be
/// tokens; of several pieces, the first must end a token and the last begin one.
std::vector<TermPiece> piecesOf(std::string_view form);

}  // namespace nookery
