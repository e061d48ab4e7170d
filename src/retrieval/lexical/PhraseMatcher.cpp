#include "retrieval/lexical/PhraseMatcher.h"

#include <algorithm>
#include <bit>

namespace nookery {
namespace {

bool isWord(std::string_view text, const TermPiece& piece) {
    return text.size() == piece.text.size();
}

std::vector<TokenId> tokensFitting(const Vocabulary& vocabulary, const TermPiece& piece) {
    if (piece.match == PieceMatch::ending) return vocabulary.endingWith(piece.text);
    if (piece.match == PieceMatch::beginning) return vocabulary.startingWith(piece.text);
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
    for (const TokenId token : tokens) {
        for (const Ordinal ordinal : index.postings().sorted(token).ordinals) memories.add(ordinal);
        for (const Ordinal ordinal : index.postings().grown(token).ordinals) memories.add(ordinal);
    }
    return memories;
}

}  // namespace

PhraseMatcher::PhraseMatcher(const LexicalIndex& index, std::vector<TermPiece> pieces)
    : index_(index) {
    for (TermPiece& piece : pieces) pieces_.push_back(tokensFor(std::move(piece)));
}

PhraseMatcher::PieceTokens PhraseMatcher::tokensFor(TermPiece piece) const {
    PieceTokens fitting{std::move(piece), {}, {}, 0};
    fitting.tokens = tokensFitting(index_.vocabulary(), fitting.piece);
    fitting.bits.resize(index_.vocabulary().size() / 64 + 1, 0);
    for (const TokenId token : fitting.tokens) {
        fitting.bits[token / 64] |= std::uint64_t{1} << token % 64;
        fitting.memoryCount += index_.documentFrequency(token);
    }
    return fitting;
}

std::vector<Ordinal> PhraseMatcher::candidates() const {
    // A piece that stands nearly everywhere would narrow nothing.
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

bool PhraseMatcher::fitsAll(std::span<const TokenId> window) const {
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        if (!pieces_[i].fits(window[i])) return false;
    }
    return true;
}

MatchKind PhraseMatcher::kindOf(std::span<const TokenId> window) const {
    if (!isWord(index_.tokenText(window.front()), pieces_.front().piece)) return MatchKind::inside;
    return isWord(index_.tokenText(window.back()), pieces_.back().piece) ? MatchKind::whole
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
