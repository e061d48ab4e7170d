#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/Query.h"

namespace nookery {

/// Finds terms that are made of several tokens ("e-mail", "3.1.4"): memories in whose texts the
/// pieces follow one another. Candidates hold a token for every piece; their streams tell the rest.
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

    /// Memories alive that hold a token for each piece, ascending.
    std::vector<Ordinal> candidates() const;

  private:
    /// A piece, and which tokens fit it: a bit a token of the vocabulary.
    struct PieceTokens {
        TermPiece piece;
        std::vector<TokenId> tokens;
        std::vector<std::uint64_t> bits;
        std::uint64_t memoryCount = 0;

        bool fits(TokenId token) const {
            return token / 64 < bits.size() && (bits[token / 64] >> token % 64 & 1) != 0;
        }
    };

    PieceTokens tokensFor(TermPiece piece) const;
    bool fitsAll(std::span<const TokenId> window) const;
    MatchKind kindOf(std::span<const TokenId> window) const;

    const LexicalIndex& index_;
    std::vector<PieceTokens> pieces_;
};

}  // namespace nookery
