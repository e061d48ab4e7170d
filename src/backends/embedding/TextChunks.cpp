#include "backends/embedding/TextChunks.h"

#include <unicode/bytestream.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>

#include <algorithm>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery::encoder {

namespace {

/// Several times the bytes that 64 chunks of any text need.
constexpr std::size_t maximumByteCount = 64u << 10;
constexpr std::size_t chunkPieceCount = 48;
constexpr std::size_t wholeSentencePieceCount = 72;
constexpr std::size_t maximumChunkCount = 64;
static_assert(wholeSentencePieceCount <= maximumPieceCount);

std::string composed(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* compatibility = icu::Normalizer2::getNFKCInstance(status);
    std::string result;
    if (U_SUCCESS(status)) {
        icu::StringByteSink<std::string> sink(&result);
        const icu::StringPiece source(text.data(), static_cast<std::int32_t>(text.size()));
        compatibility->normalizeUTF8(0, source, sink, nullptr, status);
    }
    if (U_FAILURE(status)) throw Error("The Unicode library's normalisation data is missing.");
    return result;
}

std::string withSingleBlanks(std::string_view text) {
    std::string result;
    char pending = 0;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = at;
        const char32_t codePoint = nextCodePoint(text, at);
        if (isNewline(codePoint)) {
            pending = '\n';
        } else if (isWhiteSpace(codePoint)) {
            if (pending == 0) pending = ' ';
        } else {
            if (pending != 0 && !result.empty()) result += pending;
            pending = 0;
            result += text.substr(begin, at - begin);
        }
    }
    return result;
}

bool hasLowerCase(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        if (u_islower(static_cast<UChar32>(nextCodePoint(text, at)))) return true;
    }
    return false;
}

bool endsSentence(char byte) {
    return std::string_view(".!?;:").find(byte) != std::string_view::npos;
}

/// The pieces without the unknown ones and the blanks before those.
std::vector<PieceId> knownPieces(const std::vector<PieceId>& pieces,
                                 const PieceTokenizer& tokenizer) {
    std::vector<PieceId> known;
    for (const PieceId piece : pieces) {
        if (piece != PieceTokenizer::unknownPiece) {
            known.push_back(piece);
        } else if (!known.empty() && tokenizer.kindOf(known.back()) == PieceKind::blank) {
            known.pop_back();
        }
    }
    return known;
}

/// Fills chunks sentence by sentence.
class Packer {
  public:
    void add(const std::vector<PieceId>& sentence) {
        if (open_.size() + sentence.size() > chunkPieceCount) flush();
        open_.insert(open_.end(), sentence.begin(), sentence.end());
        if (open_.size() <= wholeSentencePieceCount) return;
        const std::vector<PieceId> tooLong = std::move(open_);
        for (std::size_t at = 0; at < tooLong.size(); at += chunkPieceCount) {
            const auto begin = tooLong.begin() + static_cast<std::ptrdiff_t>(at);
            const auto count = std::min(chunkPieceCount, tooLong.size() - at);
            open_.assign(begin, begin + static_cast<std::ptrdiff_t>(count));
            if (count == chunkPieceCount) flush();
        }
    }

    void flush() {
        if (!open_.empty() && !isFull()) chunks_.push_back(std::move(open_));
        open_.clear();
    }

    bool isFull() const { return chunks_.size() == maximumChunkCount; }
    std::vector<std::vector<PieceId>> take() { return std::move(chunks_); }

  private:
    std::vector<PieceId> open_;
    std::vector<std::vector<PieceId>> chunks_;
};

}  // namespace

std::string prepared(std::string_view text) {
    const std::string valid = toValidUtf8(cutToBytes(text, maximumByteCount));
    // Compatibility forms may come out much longer than they went in.
    std::string result = withSingleBlanks(composed(valid));
    result.resize(cutToBytes(result, maximumByteCount).size());
    return hasLowerCase(result) ? result : lowerCased(result);
}

std::vector<std::string_view> sentencesOf(std::string_view preparedText) {
    std::vector<std::string_view> sentences;
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= preparedText.size(); ++at) {
        const bool atEnd = at == preparedText.size() || preparedText[at] == '\n';
        const bool afterMark =
            !atEnd && at > 0 && preparedText[at] == ' ' && endsSentence(preparedText[at - 1]);
        if (!atEnd && !afterMark) continue;
        if (at > begin) sentences.push_back(preparedText.substr(begin, at - begin));
        begin = at + 1;
    }
    return sentences;
}

TextChunks chunksOf(std::string_view preparedText, const PieceTokenizer& tokenizer) {
    TextChunks result;
    Packer packer;
    for (const std::string_view sentence : sentencesOf(preparedText)) {
        std::vector<PieceId> pieces = tokenizer.tokenize(sentence);
        const auto countOf = [&](PieceKind kind) {
            return static_cast<std::size_t>(std::ranges::count(
                pieces, kind, [&](PieceId piece) { return tokenizer.kindOf(piece); }));
        };
        const std::size_t unknownCount = countOf(PieceKind::unknown);
        const std::size_t letterPieceCount = countOf(PieceKind::letters);
        result.pieceCount += pieces.size();
        result.unknownCount += unknownCount;
        result.letterPieceCount += unknownCount + letterPieceCount;
        result.readByteCount =
            static_cast<std::size_t>(sentence.data() - preparedText.data()) + sentence.size();
        if (letterPieceCount + countOf(PieceKind::other) > 0) {
            packer.add(knownPieces(pieces, tokenizer));
        }
        if (packer.isFull()) break;
    }
    packer.flush();
    result.chunks = packer.take();
    return result;
}

}  // namespace nookery::encoder
