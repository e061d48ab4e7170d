#include "retrieval/lexical/PhraseMatcher.h"

#include <algorithm>
#include <bit>

namespace nookery {
namespace {

std::vector<TokenId> tokensMatching(const Vocabulary& vocabulary, const TermPiece& piece) {
    if (piece.match == PieceMatch::suffix) return vocabulary.endingWith(piece.text);
    if (piece.match == PieceMatch::prefix) return vocabulary.startingWith(piece.text);
    const auto token = vocabulary.find(piece.text);
    return token ? std::vector<TokenId>{*token} : std::vector<TokenId>{};
}

/// A set of ordinals.
class OrdinalSet {
  public:
    explicit OrdinalSet(std::size_t count) : words_((count + 63) / 64, 0) {}

    void add(Ordinal ordinal) { words_[ordinal / 64] |= std::uint64_t{1} << ordinal % 64; }
    void intersect(const OrdinalSet& other) {
        for (std::size_t i = 0; i < words_.size(); ++i) words_[i] &= other.words_[i];
    }
    template <typename Use>
    void forEach(Use&& use) const {
        for (std::size_t i = 0; i < words_.size(); ++i) {
            for (std::uint64_t rest = words_[i]; rest != 0; rest &= rest - 1) {
                use(static_cast<Ordinal>(i * 64 +
                                         static_cast<std::size_t>(std::countr_zero(rest))));
            }
        }
    }

  private:
    std::vector<std::uint64_t> words_;
};

OrdinalSet memoriesWith(const LexicalIndex& index, const std::vector<TokenId>& tokens) {
    OrdinalSet memories(index.ordinalCount());
    const Postings& postings = index.postingsOf(tokens);
    for (const TokenId token : tokens) {
        for (const Ordinal ordinal : postings.mainList(token).ordinals) memories.add(ordinal);
        for (const Ordinal ordinal : postings.auxiliaryList(token).ordinals) memories.add(ordinal);
    }
    return memories;
}

}  // namespace

PhraseMatcher::PhraseMatcher(const LexicalIndex& index, std::vector<TermPiece> pieces)
    : index_(index) {
    for (TermPiece& piece : pieces) pieces_.push_back(tokensFor(std::move(piece)));
}

PhraseMatcher::PieceTokens PhraseMatcher::tokensFor(TermPiece piece) const {
    PieceTokens matching{std::move(piece), {}, {}, 0};
    matching.tokens = tokensMatching(index_.vocabulary(), matching.piece);
    matching.bits.resize(index_.vocabulary().size() / 64 + 1, 0);
    for (const TokenId token : matching.tokens) {
        matching.bits[token / 64] |= std::uint64_t{1} << token % 64;
        matching.memoryCount += index_.documentFrequency(token);
    }
    return matching;
}

std::vector<Ordinal> PhraseMatcher::candidates() const {
    // A piece that nearly every memory holds would not narrow the candidates.
    constexpr std::uint64_t muchMoreCommon = 32;
    std::vector<const PieceTokens*> byCount;
    for (const PieceTokens& piece : pieces_) byCount.push_back(&piece);
    std::sort(byCount.begin(), byCount.end(), [](const PieceTokens* a, const PieceTokens* b) {
        return a->memoryCount < b->memoryCount;
    });
    OrdinalSet memories = memoriesWith(index_, byCount.front()->tokens);
    for (const PieceTokens* piece : std::span(byCount).subspan(1)) {
        if (piece->memoryCount / muchMoreCommon > byCount.front()->memoryCount) break;
        memories.intersect(memoriesWith(index_, piece->tokens));
    }
    std::vector<Ordinal> ordinals;
    memories.forEach([&](Ordinal ordinal) {
        if (index_.isAlive(ordinal)) ordinals.push_back(ordinal);
    });
    return ordinals;
}

bool PhraseMatcher::matchesAll(std::span<const TokenId> window) const {
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        if (!pieces_[i].matches(window[i])) return false;
    }
    return true;
}

MatchKind PhraseMatcher::kindOf(std::span<const TokenId> window) const {
    const auto isWhole = [&](TokenId token, const PieceTokens& matching) {
        return index_.vocabulary().text(token).size() == matching.piece.text.size();
    };
    if (!isWhole(window.front(), pieces_.front())) return MatchKind::inside;
    return isWhole(window.back(), pieces_.back()) ? MatchKind::whole : MatchKind::prefix;
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
        if (!matchesAll(window)) continue;
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
