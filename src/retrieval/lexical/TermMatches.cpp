#include "retrieval/lexical/TermMatches.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "foundation/Text.h"
#include "retrieval/text/EnglishWords.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

constexpr double strongest = 255;
constexpr std::array<const char*, matchKindCount> kindNames{"whole word", "same stem", "beginning",
                                                            "inside"};

std::size_t indexOf(SearchField field) { return static_cast<std::size_t>(field); }

/// The inverse document frequency as a share of the greatest possible one. Rounded to a float,
/// since the C library's logarithm may differ in a double's last bit from one processor to another.
float rarityOf(double memoryCount, std::size_t collectionSize) {
    const auto size = static_cast<double>(collectionSize);
    const auto inverseFrequency = [&](double count) {
        return std::log(1 + (size - count + 0.5) / (count + 0.5));
    };
    return static_cast<float>(inverseFrequency(std::min(memoryCount, size)) / inverseFrequency(0));
}

using StrengthByImpact = std::array<std::uint8_t, 256>;

/// The strength for each impact: `share` of the impact, which counts at most as `greatestImpact`.
StrengthByImpact strengthTable(double share, std::uint8_t greatestImpact = 255) {
    StrengthByImpact table{};
    for (std::size_t impact = 0; impact < table.size(); ++impact) {
        const double counted = std::min<double>(static_cast<double>(impact), greatestImpact);
        table[impact] =
            static_cast<std::uint8_t>(std::clamp(std::lround(share * counted), 1L, 255L));
    }
    return table;
}

std::uint8_t greatestImpactElsewhere(const RankingWeights& weights) {
    const std::size_t elsewhere = indexOf(SearchField::elsewhere);
    return static_cast<std::uint8_t>(
        std::lround(strongest * (weights.bandFloor[elsewhere] + weights.bandWidth[elsewhere])));
}

/// How a posting's mask becomes the bits of a match score: `(mask & kept) | added`.
struct BitRule {
    FieldMask kept = 0xFF;
    std::uint8_t added = 0;
    bool makesHits = true;
};

constexpr BitRule asFound{};
constexpr BitRule asElsewhere{peopleBit, fieldBit(SearchField::elsewhere)};
constexpr BitRule asCorrected{0, correctedBit};
constexpr BitRule asExpanded{0, expandedBit, false};

struct PhraseHit {
    Ordinal ordinal = 0;
    PhraseMatcher::Found found;
};

/// The matches of one form of a term, by kind.
struct FormMatches {
    std::array<std::vector<TokenId>, matchKindCount> tokens;
    std::vector<PhraseHit> phraseHits;
    bool isOtherForm = false;  ///< the all-scripts form of a term that also has a normal form
};

}  // namespace

/// Looks one term up in the index and fills its TermMatches.
class TermMatcher {
  public:
    TermMatcher(const LexicalIndex& index, const QueryTerm& term, TermMatches& matches)
        : index_(index), weights_(index.weights()), term_(term), matches_(matches) {}

    void run() {
        matches_.isFunctionWord_ = isFunctionWord(term_.typed);
        if (!term_.normal.empty()) findForm(term_.normal, false);
        if (!term_.allScripts.empty()) findForm(term_.allScripts, !term_.normal.empty());
        countMemories();
        if (index_.derivesAsNeeded()) deriveAtOnce();
        if (foundCount() > 0) {
            useMatches();
        } else {
            useCorrections();
        }
        matches_.summarise(index_.alive());
        std::sort(matches_.tokens_.begin(), matches_.tokens_.end());
    }

  private:
    void findForm(const std::string& form, bool isOtherForm) {
        FormMatches matches;
        matches.isOtherForm = isOtherForm;
        std::vector<TermPiece> pieces = piecesOf(form);
        if (pieces.size() > 1) {
            findPhrase(std::move(pieces), matches);
        } else if (pieces.size() == 1) {
            findToken(pieces.front(), matches);
        }
        forms_.push_back(std::move(matches));
    }

    void findToken(const TermPiece& piece, FormMatches& matches) {
        const Vocabulary& vocabulary = index_.vocabulary();
        if (piece.match == PieceMatch::whole) {
            isShort_ = !isIdeographRun(piece.text);
            const auto token = vocabulary.find(piece.text);
            if (token) matches.tokens[0].push_back(*token);
            return;
        }
        const std::uint32_t stemKey = Vocabulary::stemKeyOf(piece.text);
        for (const TokenId token : vocabulary.containing(piece.text)) {
            if (index_.documentFrequency(token) == 0) continue;
            matches.tokens[static_cast<std::size_t>(kindOf(piece.text, stemKey, token))].push_back(
                token);
        }
    }

    MatchKind kindOf(std::string_view part, std::uint32_t stemKey, TokenId token) const {
        const std::string_view text = index_.vocabulary().text(token);
        if (!text.starts_with(part)) return MatchKind::inside;
        if (text.size() == part.size()) return MatchKind::whole;
        const bool sameStem = stemKey != 0 && index_.vocabulary().stemKey(token) == stemKey;
        return sameStem ? MatchKind::stem : MatchKind::prefix;
    }

    void findPhrase(std::vector<TermPiece> pieces, FormMatches& matches) {
        PhraseMatcher matcher(index_, std::move(pieces));
        // Streams lie scattered in memory; each is prefetched a few candidates ahead.
        constexpr std::size_t ahead = 8;
        const std::vector<Ordinal> candidates = matcher.candidates();
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            if (i + ahead < candidates.size()) index_.prefetchStream(candidates[i + ahead]);
            if (const auto found = matcher.find(index_.stream(candidates[i]))) {
                matches.phraseHits.push_back({candidates[i], *found});
            }
        }
        matches_.phrases_.push_back(std::move(matcher));
    }

    double memoriesWith(const std::vector<TokenId>& tokens) const {
        double count = 0;
        for (const TokenId token : tokens) count += index_.documentFrequency(token);
        return count;
    }

    void countMemories() {
        for (const FormMatches& form : forms_) {
            for (std::size_t kind = 0; kind < matchKindCount; ++kind) {
                counts_[kind] += memoriesWith(form.tokens[kind]);
            }
            for (const PhraseHit& hit : form.phraseHits) {
                counts_[static_cast<std::size_t>(hit.found.kind)] += 1;
            }
        }
    }

    /// The postings of all that was found, in one pass.
    void deriveAtOnce() const {
        std::vector<TokenId> all = foundCount() > 0 ? otherForms() : corrections();
        for (const FormMatches& form : forms_) {
            for (const auto& tokens : form.tokens) {
                all.insert(all.end(), tokens.begin(), tokens.end());
            }
        }
        static_cast<void>(index_.postingsOf(all));
    }

    double rarity(double memoryCount) const {
        const double inLibrary = rarityOf(memoryCount, index_.size());
        return matches_.isFunctionWord_ ? std::min(inLibrary, weights_.functionWordRarity)
                                        : inLibrary;
    }

    double foundCount() const {
        double sum = 0;
        for (const double count : counts_) sum += count;
        return sum;
    }

    void useMatches() {
        // The rarity of a kind counts the memories of all better kinds too, so that a better match
        // never earns less.
        std::array<double, matchKindCount> factors{};
        double memories = 0;
        double scale = 0;
        for (std::size_t kind = 0; kind < matchKindCount; ++kind) {
            if (counts_[kind] == 0) continue;
            memories += counts_[kind];
            const double kindRarity = rarity(memories);
            factors[kind] = weights_.kindFactor[kind] * kindRarity;
            if (scale == 0) {
                scale = factors[kind];
                matches_.rarity_ = kindRarity;
            }
        }
        for (std::size_t kind = 0; kind < matchKindCount; ++kind) {
            if (counts_[kind] == 0) continue;
            useKind(kind, factors[kind] / scale);
        }
        expand();
        matches_.fillWeights(weights_, scale, isShort_);
    }

    /// Expands the term: a whole word with its other forms, and a term found only inside words with
    /// its corrections, since it may be mistyped.
    void expand() {
        if (counts_[0] > 0) {
            expandWith("another form of the word", otherForms(), weights_.stemShare);
        } else if (counts_[1] + counts_[2] == 0) {
            expandWith("one edit away", corrections(), weights_.insideCorrectionShare);
        }
    }

    void expandWith(const char* description, const std::vector<TokenId>& tokens, double share) {
        if (tokens.empty() || share == 0) return;
        accumulate(tokens, strengthTable(share), asExpanded);
        matches_.recordTokens(tokens, true);
        describe(description, tokens.size(), memoriesWith(tokens), share);
    }

    void useKind(std::size_t kind, double share) {
        std::size_t tokenCount = 0;
        for (const FormMatches& form : forms_) {
            const BitRule rule = form.isOtherForm ? asElsewhere : asFound;
            const StrengthByImpact strengths =
                strengthTable(share, form.isOtherForm ? greatestImpactElsewhere(weights_) : 255);
            accumulate(form.tokens[kind], strengths, rule);
            for (const PhraseHit& hit : form.phraseHits) {
                if (static_cast<std::size_t>(hit.found.kind) != kind) continue;
                matches_.accumulator_.merge(
                    hit.ordinal,
                    static_cast<std::uint8_t>((hit.found.mask & rule.kept) | rule.added),
                    strengths[hit.found.impact]);
            }
            tokenCount += form.tokens[kind].size();
            matches_.recordTokens(form.tokens[kind], false);
        }
        describe(kindNames[kind], tokenCount, counts_[kind], share);
    }

    /// The words of the same stem that do not contain the term.
    std::vector<TokenId> otherForms() const {
        if (!term_.allScripts.empty()) return {};
        std::vector<TokenId> tokens = index_.vocabulary().sharingStem(term_.normal);
        std::erase_if(tokens, [&](TokenId token) {
            return index_.documentFrequency(token) == 0 ||
                   index_.vocabulary().text(token).find(term_.normal) != std::string_view::npos;
        });
        return tokens;
    }

    /// The words that the user may have meant.
    std::vector<TokenId> corrections() const {
        const std::string& form = term_.normal.empty() ? term_.allScripts : term_.normal;
        if (form.empty() || form.find(' ') != std::string::npos) return {};
        std::vector<TokenId> tokens = index_.vocabulary().oneEditAway(form);
        if (tokens.empty() && form.size() >= weights_.fewestPrefixLetters) {
            tokens = index_.vocabulary().prefixOneEditAway(form);
        }
        const std::vector<TokenId> stems = index_.vocabulary().sharingStem(form);
        tokens.insert(tokens.end(), stems.begin(), stems.end());
        std::sort(tokens.begin(), tokens.end());
        tokens.erase(std::unique(tokens.begin(), tokens.end()), tokens.end());
        std::erase_if(tokens, [&](TokenId token) { return index_.documentFrequency(token) == 0; });
        return tokens;
    }

    /// Searches for the corrections in place of the term, which no memory holds.
    void useCorrections() {
        const std::vector<TokenId> tokens = corrections();
        if (tokens.empty()) return;
        const double memories = memoriesWith(tokens);
        matches_.corrected_ = true;
        matches_.rarity_ = rarity(memories);
        accumulate(tokens, strengthTable(1), asCorrected);
        matches_.recordTokens(tokens, true);
        describe("one edit away", tokens.size(), memories, weights_.correctionShare);
        matches_.fillWeights(weights_, weights_.correctionShare * matches_.rarity_, isShort_);
    }

    void accumulate(const std::vector<TokenId>& tokens, const StrengthByImpact& strengths,
                    BitRule rule) {
        ScoreAccumulator& accumulator = matches_.accumulator_;
        const auto mergeWith = [&](auto merge) {
            forEachPosting(tokens, [&](Ordinal ordinal, PostingMark mark) {
                merge(ordinal, static_cast<std::uint8_t>((mark.mask & rule.kept) | rule.added),
                      strengths[mark.impact]);
            });
        };
        if (rule.makesHits) {
            mergeWith([&](auto... match) { accumulator.merge(match...); });
        } else {
            mergeWith([&](auto... match) { accumulator.mergeWithoutHit(match...); });
        }
    }

    template <typename Use>
    void forEachPosting(const std::vector<TokenId>& tokens, Use use) const {
        const auto useAll = [&](const Postings::List& list) {
            for (std::size_t i = 0; i < list.ordinals.size(); ++i) {
                use(list.ordinals[i], list.marks[i]);
            }
        };
        const Postings& postings = index_.postingsOf(tokens);
        for (const TokenId token : tokens) {
            useAll(postings.mainList(token));
            useAll(postings.auxiliaryList(token));
        }
    }

    void describe(std::string description, std::size_t tokenCount, double memoryCount,
                  double factor) {
        matches_.matches_.push_back(
            {std::move(description), tokenCount, static_cast<std::size_t>(memoryCount), factor});
    }

    const LexicalIndex& index_;
    const RankingWeights& weights_;
    const QueryTerm& term_;
    TermMatches& matches_;
    std::vector<FormMatches> forms_;
    std::array<double, matchKindCount> counts_{};
    bool isShort_ = false;
};

TermMatches::TermMatches(const LexicalIndex& index, const QueryTerm& term,
                         ScoreAccumulator accumulator)
    : accumulator_(std::move(accumulator)) {
    accumulator_.reset(index.ordinalCount());
    TermMatcher(index, term, *this).run();
}

void TermMatches::recordTokens(const std::vector<TokenId>& tokens, bool expanded) {
    tokens_.insert(tokens_.end(), tokens.begin(), tokens.end());
    if (expanded) expanded_.insert(expanded_.end(), tokens.begin(), tokens.end());
}

void TermMatches::summarise(std::span<const std::uint64_t> alive) {
    accumulator_.summarise(alive);
    blockMaxima_.resize(accumulator_.blockCount());
    for (std::size_t block = 0; block < blockMaxima_.size(); ++block) {
        const MatchScore summary = accumulator_.summary(block);
        if (summary == 0) continue;
        blockMaxima_[block] = {weight(summary), relevance(summary), true};
        maxScore_ = std::max(maxScore_, weight(summary) + relevance(summary));
        inPeople_ = inPeople_ || (bitsOf(summary) & peopleBit) != 0;
    }
}

std::size_t TermMatches::rowOf(std::uint8_t bits) {
    constexpr unsigned fieldBits = (1U << searchFieldCount) - 1;
    const unsigned fields = bits & fieldBits;
    return fields == 0 ? searchFieldCount : static_cast<std::size_t>(std::countr_zero(fields));
}

void TermMatches::fillWeights(const RankingWeights& weights, double scale, bool isShort) {
    relevanceStep_ = weights.relevance * scale / strongest;
    for (std::size_t row = 0; row < rowCount; ++row) {
        const bool expanded = row == searchFieldCount;
        const double first = expanded || isShort ? 0 : weights.firstPass[row];
        const double second = expanded ? weights.expanded : weights.secondPass[row];
        for (std::size_t strength = 0; strength < weights_[row].size(); ++strength) {
            const double worth = second * weights.greatestStrength * scale *
                                 static_cast<double>(strength) / strongest;
            weights_[row][strength] = first + (worth < weights.floor ? 0 : worth);
        }
    }
}

TermMatches::Line TermMatches::upperLine(std::size_t row) const {
    // The second pass grows linearly with the strength; the floor only lowers it.
    const auto& weights = weights_[row];
    return {weights.front(), (weights.back() - weights.front()) / strongest + relevanceStep_};
}

double TermMatches::scoreBound() const { return weights_[0].back() + relevanceStep_ * strongest; }

std::uint32_t TermMatches::sectionsIn(TokenStream stream) const {
    std::uint32_t sections = 0;
    for (const PhraseMatcher& phrase : phrases_) {
        if (const auto found = phrase.find(stream)) sections |= found->sections;
    }
    while (stream.next()) {
        if (!stream.atToken() || stream.section() == Section::tags) continue;
        if (std::binary_search(tokens_.begin(), tokens_.end(), stream.token())) {
            sections |= 1U << static_cast<unsigned>(stream.section());
        }
    }
    return sections;
}

}  // namespace nookery
