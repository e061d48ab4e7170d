#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "backends/embedding/EncoderModel.h"

namespace nookery::encoder {

using PieceId = std::uint16_t;

enum class PieceKind : std::uint8_t { unknown, blank, letters, other };

/// Cuts text into the model's pieces so that the sum of the pieces' scores is highest (a unigram
/// model, solved by dynamic programming). Linear in the text. Any thread.
class PieceTokenizer {
  public:
    static constexpr PieceId unknownPiece = 0;

    explicit PieceTokenizer(std::vector<Piece> pieces);

    /// The pieces of one sentence: valid UTF-8, NFKC, words one blank apart. A run of characters
    /// that no piece has gives one `unknownPiece`. Empty for an empty sentence.
    std::vector<PieceId> tokenize(std::string_view sentence) const;

    PieceKind kindOf(PieceId piece) const { return kinds_[piece]; }

  private:
    struct Match {
        std::size_t byteCount;
        PieceId piece;
    };
    void matchesAt(std::string_view text, std::vector<Match>& matches) const;

    std::vector<Piece> pieces_;
    std::vector<PieceKind> kinds_;
    std::vector<PieceId> sorted_;  ///< ids in byte order of their texts
    float unknownScore_ = 0;
};

}  // namespace nookery::encoder
