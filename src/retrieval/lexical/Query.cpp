#include "retrieval/lexical/Query.h"

#include "foundation/Text.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

constexpr std::size_t shortestSubstring = 3;

QueryTerm makeTerm(std::string_view typed) {
    QueryTerm term{std::string(typed), normalForm(typed), combinedForm(typed)};
    if (term.allScripts == term.normal) term.allScripts.clear();
    return term;
}

/// Drops the single character at either end of a run of ideographs: the memory's run may be longer,
/// and the pair beside it contains that character anyway.
void dropOuterIdeographs(std::vector<std::string_view>& tokens) {
    const auto isCovered = [](std::string_view token, std::string_view neighbour) {
        return isIdeographRun(token) && neighbour.size() > token.size() &&
               isIdeographRun(neighbour);
    };
    if (tokens.size() >= 2 && isCovered(tokens[0], tokens[1])) tokens.erase(tokens.begin());
    const std::size_t count = tokens.size();
    if (count >= 2 && isCovered(tokens[count - 1], tokens[count - 2])) tokens.pop_back();
}

PieceMatch matchOf(std::string_view token, std::size_t index, std::size_t count) {
    if (isIdeographRun(token)) return PieceMatch::whole;
    if (count == 1) {
        return codePointCount(token) >= shortestSubstring ? PieceMatch::inside : PieceMatch::whole;
    }
    if (index == 0) return PieceMatch::suffix;
    return index + 1 == count ? PieceMatch::prefix : PieceMatch::whole;
}

}  // namespace

Query parseQuery(std::string_view searchText) {
    Query query;
    query.text = lowerCased(trimmed(searchText));
    for (const std::string_view piece : splitWhiteSpace(query.text)) {
        if (piece.front() != '#') {
            query.terms.push_back(makeTerm(piece));
        } else if (piece.size() > 1) {
            query.requestedTags.emplace(piece.substr(1));
        }
    }
    return query;
}

std::vector<TermPiece> piecesOf(std::string_view form) {
    std::vector<std::string_view> tokens = tokensOf(form);
    dropOuterIdeographs(tokens);
    std::vector<TermPiece> pieces;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        pieces.push_back({std::string(tokens[i]), matchOf(tokens[i], i, tokens.size())});
    }
    return pieces;
}

}  // namespace nookery
