#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "retrieval/LexicalIndex.h"
#include "retrieval/Query.h"

namespace nookery {

/// Finds terms that are made of several tokens ("e-mail", "3.1.4"): memories in whose texts the
/// pieces follow one another. Candidates come from the rarest piece's tokens; their streams tell.
class PhraseMatcher {
  public:
    /// At least two pieces.
    PhraseMatcher(const LexicalIndex& index, std::vector<TermPiece> pieces);

    struct Found {
        FieldMask mask = 0;
        MatchKind kind = MatchKind::inside;
        std::uint8_t impact = 0;
        std::uint32_t sections = 0;  ///< a bit each
    };

    std::optional<Found> find(TokenStream stream) const;

    /// Memories alive that hold the rarest piece, ascending.
    std::vector<Ordinal> candidates() const;

  private:
    void chooseRarest();
    std::vector<TokenId> tokensOf(const TermPiece& piece) const;
    bool fits(std::size_t pieceIndex, TokenId token) const;
    bool fitsAll(std::span<const TokenId> window) const;
    MatchKind kindOf(std::span<const TokenId> window) const;

    const LexicalIndex& index_;
    std::vector<TermPiece> pieces_;
    std::size_t rarest_ = 0;
    std::vector<TokenId> rarestTokens_;
};

}  // namespace nookery
