#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/Query.h"

namespace nookery {

/// Finds a term of several tokens ("e-mail", "3.1.4"): the memories in which tokens that match its
/// pieces follow one another. The postings give the candidates, the candidates' streams decide.
class PhraseMatcher {
  public:
    /// At least two pieces.
    PhraseMatcher(const LexicalIndex& index, std::vector<TermPiece> pieces);

    struct Found {
        FieldMask mask = 0;
        MatchKind kind = MatchKind::inside;
        std::uint8_t impact = 0;
        std::uint32_t sections = 0;  ///< a bit for each Section
    };

    /// Where and how strongly a memory holds the term; none when it does not.
    std::optional<Found> find(TokenStream stream) const;

    /// A superset of the memories alive that hold the term, ascending.
    std::vector<Ordinal> candidates() const;

  private:
    /// A piece and the tokens that match it, as a list and as a bit for each token of the
    /// vocabulary.
    struct PieceTokens {
        TermPiece piece;
        std::vector<TokenId> tokens;
        std::vector<std::uint64_t> bits;
        std::uint64_t memoryCount = 0;

        bool matches(TokenId token) const {
            return token / 64 < bits.size() && (bits[token / 64] >> token % 64 & 1) != 0;
        }
    };

    PieceTokens tokensFor(TermPiece piece) const;
    bool matchesAll(std::span<const TokenId> window) const;
    MatchKind kindOf(std::span<const TokenId> window) const;

    const LexicalIndex& index_;
    std::vector<PieceTokens> pieces_;
};

}  // namespace nookery
