#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "backends/embedding/PieceTokenizer.h"

namespace nookery::encoder {

/// Makes any bytes into the text that the model knows: valid UTF-8, NFKC, one blank between words,
/// one line feed between lines; lower case when the text has no lower-case letter at all, because
/// the model tells cases apart and hardly knows words in capitals. Reads and gives about 64 KiB at
/// most.
std::string prepared(std::string_view text);

/// The sentences of a prepared text: cut after .!?;: before a blank, and at line feeds; none empty.
std::vector<std::string_view> sentencesOf(std::string_view preparedText);

/// The pieces of a prepared text in chunks that the model takes at once: whole sentences up to 48
/// pieces; a sentence up to 72 stands alone, a longer one is cut. Pieces without a meaning for the
/// model are left out, and so are chunks of nothing else. At most 64 chunks, from the front.
struct TextChunks {
    std::vector<std::vector<PieceId>> chunks;
    std::size_t readByteCount = 0;     ///< of the text, up to where the last chunk ends
    std::size_t pieceCount = 0;        ///< in that, with the unknown ones
    std::size_t unknownCount = 0;      ///< of these, runs of characters that no piece has
    std::size_t letterPieceCount = 0;  ///< of these, unknown ones or such that hold a letter
};
TextChunks chunksOf(std::string_view preparedText, const PieceTokenizer& tokenizer);

}  // namespace nookery::encoder
