#include "backends/embedding/PieceTokenizer.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <limits>

#include "foundation/Text.h"

namespace nookery::encoder {

namespace {

constexpr std::string_view blankMark = "\u2581";

/// The first ids are the unknown piece and marks that no text contains.
constexpr std::size_t reservedPieceCount = 6;

/// How much lower than the rarest piece's score that of a character without a piece is.
constexpr float unknownPenalty = 10;

/// The best way to reach a place in the text.
struct Arrival {
    float score = -std::numeric_limits<float>::infinity();
    std::size_t from = 0;
    PieceId piece = PieceTokenizer::unknownPiece;
};

std::string withBlankMarks(std::string_view sentence) {
    std::string text(blankMark);
    for (const char byte : sentence) {
        if (byte == ' ') {
            text += blankMark;
        } else {
            text += byte;
        }
    }
    return text;
}

PieceKind kindOfText(std::string_view text) {
    if (text == blankMark) return PieceKind::blank;
    for (std::size_t at = 0; at < text.size();) {
        if (u_isalpha(static_cast<UChar32>(nextCodePoint(text, at)))) return PieceKind::letters;
    }
    return PieceKind::other;
}

std::vector<PieceId> walkBack(const std::vector<Arrival>& arrivals) {
    std::vector<PieceId> pieces;
    for (std::size_t at = arrivals.size() - 1; at > 0; at = arrivals[at].from) {
        const PieceId piece = arrivals[at].piece;
        const bool repeatsUnknown = piece == PieceTokenizer::unknownPiece && !pieces.empty() &&
                                    pieces.back() == PieceTokenizer::unknownPiece;
        if (!repeatsUnknown) pieces.push_back(piece);
    }
    std::reverse(pieces.begin(), pieces.end());
    return pieces;
}

}  // namespace

PieceTokenizer::PieceTokenizer(std::vector<Piece> pieces)
    : pieces_(std::move(pieces)),
      kinds_(std::max<std::size_t>(pieces_.size(), 1), PieceKind::unknown) {
    for (std::size_t id = reservedPieceCount; id < pieces_.size(); ++id) {
        sorted_.push_back(static_cast<PieceId>(id));
        unknownScore_ = std::min(unknownScore_, pieces_[id].score);
        kinds_[id] = kindOfText(pieces_[id].text);
    }
    unknownScore_ -= unknownPenalty;
    std::stable_sort(sorted_.begin(), sorted_.end(), [this](PieceId left, PieceId right) {
        return pieces_[left].text < pieces_[right].text;
    });
}

void PieceTokenizer::matchesAt(std::string_view text, std::vector<Match>& matches) const {
    matches.clear();
    auto first = sorted_.begin();
    auto last = sorted_.end();
    // Each byte narrows the range of pieces that begin with what was read so far; the one that is
    // exactly that, if any, comes first in it.
    for (std::size_t depth = 0; depth < text.size() && first != last; ++depth) {
        const auto wanted = static_cast<unsigned char>(text[depth]);
        const auto byteOf = [&](PieceId id) {
            const std::string& piece = pieces_[id].text;
            return depth < piece.size() ? static_cast<unsigned char>(piece[depth]) : -1;
        };
        first = std::partition_point(first, last, [&](PieceId id) { return byteOf(id) < wanted; });
        last = std::partition_point(first, last, [&](PieceId id) { return byteOf(id) == wanted; });
        if (first != last && pieces_[*first].text.size() == depth + 1) {
            matches.push_back({depth + 1, *first});
        }
    }
}

std::vector<PieceId> PieceTokenizer::tokenize(std::string_view sentence) const {
    if (sentence.empty()) return {};
    const std::string text = withBlankMarks(sentence);
    std::vector<Arrival> arrivals(text.size() + 1);
    arrivals[0].score = 0;
    std::vector<Match> matches;
    std::size_t next = 0;
    for (std::size_t at = 0; at < text.size(); at = next) {
        next = at;
        nextCodePoint(text, next);
        const auto offer = [&](std::size_t end, float score, PieceId piece) {
            if (score > arrivals[end].score) arrivals[end] = {score, at, piece};
        };
        const float reached = arrivals[at].score;
        offer(next, reached + unknownScore_, unknownPiece);
        matchesAt(std::string_view(text).substr(at), matches);
        for (const Match& match : matches) {
            offer(at + match.byteCount, reached + pieces_[match.piece].score, match.piece);
        }
    }
    return walkBack(arrivals);
}

}  // namespace nookery::encoder
