#include "retrieval/PhraseMatcher.h"

#include <algorithm>
#include <limits>

#include "foundation/Text.h"

namespace nookery {
namespace {

/// Pieces this short stand in too many tokens to look for them first.
constexpr std::size_t shortPiece = 2;

bool isWord(std::string_view text, const TermPiece& piece) {
    return text.size() == piece.text.size();
}

}  // namespace

PhraseMatcher::PhraseMatcher(const LexicalIndex& index, std::vector<TermPiece> pieces)
    : index_(index), pieces_(std::move(pieces)) {
    chooseRarest();
}

std::vector<TokenId> PhraseMatcher::tokensOf(const TermPiece& piece) const {
    const Vocabulary& vocabulary = index_.vocabulary();
    if (piece.match == PieceMatch::ending) return vocabulary.endingWith(piece.text);
    if (piece.match == PieceMatch::beginning) return vocabulary.startingWith(piece.text);
    const auto token = vocabulary.find(piece.text);
    return token ? std::vector<TokenId>{*token} : std::vector<TokenId>{};
}

void PhraseMatcher::chooseRarest() {
    const bool allShort = std::all_of(pieces_.begin(), pieces_.end(), [](const TermPiece& piece) {
        return piece.match != PieceMatch::whole && codePointCount(piece.text) <= shortPiece;
    });
    std::uint64_t fewest = std::numeric_limits<std::uint64_t>::max();
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        const TermPiece& piece = pieces_[i];
        const bool isShort =
            piece.match != PieceMatch::whole && codePointCount(piece.text) <= shortPiece;
        if (isShort && !allShort) continue;
        std::vector<TokenId> tokens = tokensOf(piece);
        std::uint64_t memories = 0;
        for (const TokenId token : tokens) memories += index_.documentFrequency(token);
        if (memories >= fewest) continue;
        fewest = memories;
        rarest_ = i;
        rarestTokens_ = std::move(tokens);
    }
}

std::vector<Ordinal> PhraseMatcher::candidates() const {
    std::vector<Ordinal> ordinals;
    const auto add = [&](const Postings::List& list) {
        for (const Ordinal ordinal : list.ordinals) {
            if (index_.isAlive(ordinal)) ordinals.push_back(ordinal);
        }
    };
    for (const TokenId token : rarestTokens_) {
        add(index_.postings().sorted(token));
        add(index_.postings().grown(token));
    }
    std::sort(ordinals.begin(), ordinals.end());
    ordinals.erase(std::unique(ordinals.begin(), ordinals.end()), ordinals.end());
    return ordinals;
}

bool PhraseMatcher::fits(std::size_t pieceIndex, TokenId token) const {
    if (pieceIndex == rarest_) {
        return std::binary_search(rarestTokens_.begin(), rarestTokens_.end(), token);
    }
    const TermPiece& piece = pieces_[pieceIndex];
    const std::string_view text = index_.tokenText(token);
    if (piece.match == PieceMatch::ending) return text.ends_with(piece.text);
    if (piece.match == PieceMatch::beginning) return text.starts_with(piece.text);
    return text == piece.text;
}

bool PhraseMatcher::fitsAll(std::span<const TokenId> window) const {
    if (!fits(rarest_, window[rarest_])) return false;
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        if (i != rarest_ && !fits(i, window[i])) return false;
    }
    return true;
}

MatchKind PhraseMatcher::kindOf(std::span<const TokenId> window) const {
    if (!isWord(index_.tokenText(window.front()), pieces_.front())) return MatchKind::inside;
    return isWord(index_.tokenText(window.back()), pieces_.back()) ? MatchKind::whole
                                                                   : MatchKind::prefix;
}

std::optional<PhraseMatcher::Found> PhraseMatcher::find(TokenStream stream) const {
    Found found;
    double frequency = 0;
    std::size_t length = 0;
    std::vector<TokenId> line;
    while (stream.next()) {
        if (!stream.atToken()) {
            line.clear();
            continue;
        }
        length += stream.section() <= Section::contents ? 1 : 0;
        line.push_back(stream.token());
        if (line.size() < pieces_.size() || stream.section() == Section::tags) continue;
        const auto window = std::span<const TokenId>(line).last(pieces_.size());
        if (!fitsAll(window)) continue;
        const SectionMeaning& meaning =
            index_.meanings()[static_cast<std::size_t>(stream.section())];
        found.mask |= meaning.mask;
        found.kind = std::min(found.kind, kindOf(window));
        found.sections |= 1U << static_cast<unsigned>(stream.section());
        frequency += meaning.frequency;
    }
    if (found.mask == 0) return std::nullopt;
    found.impact =
        impactOf(index_.weights(), found.mask, frequency, length, index_.averageLength());
    return found;
}

}  // namespace nookery
