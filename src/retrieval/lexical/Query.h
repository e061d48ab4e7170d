#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace nookery {

/// One word of a query: what was typed between white space.
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

    /// Whether nothing was typed that could find a memory.
    bool isEmpty() const { return terms.empty() && requestedTags.empty(); }
};

Query parseQuery(std::string_view searchText);

/// How a piece must match a token.
enum class PieceMatch {
    inside,  ///< the token contains it
    whole,   ///< the token equals it
    suffix,  ///< the token ends with it
    prefix,  ///< the token begins with it
};

/// A part of a term that must match one token.
struct TermPiece {
    std::string text;
    PieceMatch match = PieceMatch::whole;
};

/// The pieces of a term in either form. A memory holds the term when tokens that match the pieces
/// follow one another in it. A single piece of three letters or more may stand inside a token; a
/// shorter one, and ideographs, must equal it. Of several pieces the first is a suffix, the last a
/// prefix, and the others are whole tokens.
std::vector<TermPiece> piecesOf(std::string_view form);

}  // namespace nookery
