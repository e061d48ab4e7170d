#include "retrieval/lexical/LexicalSearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <span>

#include "retrieval/lexical/SearchHints.h"

namespace nookery {
namespace {

/// Terms remembered beside those of the query at hand.
constexpr std::size_t rememberedTermLimit = 8;

/// Words reached from the typed ones that a snapshot names.
constexpr std::size_t expandedTermLimit = 32;

std::vector<std::string> expandedTerms(const LexicalIndex& index,
                                       const LexicalSearch::Matches& matches) {
    std::vector<std::string> expanded;
    for (const QueryTerm& term : matches.query.terms) expanded.push_back(term.typed);
    std::size_t room = expandedTermLimit;
    for (const TermMatches* term : matches.terms) {
        for (const TokenId token : term->expandedTokens()) {
            if (room-- == 0) return expanded;
            expanded.emplace_back(index.tokenText(token));
        }
    }
    return expanded;
}

bool holdsAsTyped(const TermMatches& term, Ordinal ordinal) {
    return (bitsOf(term.cells().at(ordinal)) & ~(correctedBit | relatedBit)) != 0;
}

/// The hits that hold more than half of the words that say something, or a tag asked for. A memory
/// that holds one of three rare words by chance does not show that words have found what was meant.
std::size_t countTelling(const LexicalIndex& index, const LexicalSearch::Matches& matches,
                         std::span<const ScoredMemory> hits) {
    const double common = commonWordShare * static_cast<double>(index.size());
    std::vector<const TermMatches*> telling;
    for (const TermMatches* term : matches.terms) {
        if (term->isFunctionWord()) continue;
        if (static_cast<double>(term->hitCount()) <= common) telling.push_back(term);
    }
    const auto isTelling = [&](const ScoredMemory& hit) {
        const auto held = std::count_if(telling.begin(), telling.end(), [&](const auto* term) {
            return (bitsOf(term->cells().at(hit.ordinal)) & ~relatedBit) != 0;
        });
        if (2 * static_cast<std::size_t>(held) > telling.size()) return true;
        return matches.tags &&
               TagMatches::requestedCount(matches.tags->cells().at(hit.ordinal)) > 0;
    };
    return static_cast<std::size_t>(std::count_if(hits.begin(), hits.end(), isTelling));
}

/// The word as typed, or when it stands nowhere the most frequent of those it may stand for.
std::string understood(const LexicalIndex& index, const QueryTerm& term,
                       const TermMatches& matches) {
    if (!matches.isCorrected()) return term.typed;
    const auto& tokens = matches.expandedTokens();
    const auto isRarer = [&](TokenId a, TokenId b) {
        return index.documentFrequency(a) < index.documentFrequency(b);
    };
    return std::string(index.tokenText(*std::max_element(tokens.begin(), tokens.end(), isRarer)));
}

/// A word that stands nowhere counts as the rarest.
double fullMatchScore(const RankingWeights& weights, const LexicalSearch::Matches& matches) {
    constexpr auto contents = static_cast<std::size_t>(SearchField::contents);
    const double impact =
        weights.bandFloor[contents] + weights.bandWidth[contents] / (1 + weights.saturation);
    const double whenRarest =
        (weights.secondPass[contents] * weights.greatestStrength + weights.relevance) * impact;
    std::vector<double> worths;
    for (const TermMatches* term : matches.terms) {
        const double rarity = term->hitCount() == 0 ? 1 : term->rarity();
        worths.push_back(weights.firstPass[contents] + rarity * whenRarest);
    }
    std::sort(worths.begin(), worths.end(), std::greater<>());
    if (worths.size() > weights.fullMatchTerms) worths.resize(weights.fullMatchTerms);
    return std::accumulate(worths.begin(), worths.end(), 0.0);
}

}  // namespace

std::vector<std::string> LexicalSearch::Matches::requestedTags() const {
    return {query.requestedTags.begin(), query.requestedTags.end()};
}

void LexicalSearch::forgetWhenStale() {
    if (version_ == index_.version()) return;
    version_ = index_.version();
    remembered_.clear();
}

/// The cells of the evidence that was not used for longest, once enough is remembered.
ScoreAccumulator LexicalSearch::cellsToReuse() {
    if (remembered_.size() < rememberedTermLimit) return {};
    const auto oldest = std::min_element(
        remembered_.begin(), remembered_.end(),
        [](const Remembered& a, const Remembered& b) { return a.lastUse < b.lastUse; });
    if (oldest->lastUse >= queryStart_) return {};
    ScoreAccumulator cells = oldest->matches->takeCells();
    remembered_.erase(oldest);
    return cells;
}

const TermMatches& LexicalSearch::matchesOf(const QueryTerm& term) {
    const auto found =
        std::find_if(remembered_.begin(), remembered_.end(),
                     [&](const Remembered& entry) { return entry.typed == term.typed; });
    if (found != remembered_.end()) {
        found->lastUse = ++useCount_;
        return *found->matches;
    }
    auto matches = std::make_unique<TermMatches>(index_, term, cellsToReuse());
    remembered_.push_back({term.typed, std::move(matches), ++useCount_});
    return *remembered_.back().matches;
}

LexicalSearch::Matches LexicalSearch::match(std::string_view searchText) {
    forgetWhenStale();
    Matches matches;
    matches.query = parseQuery(searchText);
    queryStart_ = useCount_ + 1;
    for (const QueryTerm& term : matches.query.terms) {
        if (index_.taggedWith(term.typed) != nullptr) matches.plainTags.push_back(term.typed);
        if (term.normal.empty() && term.allScripts.empty()) continue;
        // A word typed twice counts twice.
        matches.terms.push_back(&matchesOf(term));
        matches.understood.push_back(understood(index_, term, *matches.terms.back()));
    }
    std::vector<std::string>& plain = matches.plainTags;
    std::sort(plain.begin(), plain.end());
    plain.erase(std::unique(plain.begin(), plain.end()), plain.end());
    const std::vector<std::string> requested = matches.requestedTags();
    if (!requested.empty() || !plain.empty()) matches.tags.emplace(index_, requested, plain);
    return matches;
}

LexicalSnapshot LexicalSearch::search(std::string_view searchText, std::size_t limit) {
    LexicalSnapshot snapshot;
    const Matches matches = match(searchText);
    snapshot.query = matches.query.text;
    if (matches.query.isEmpty()) return snapshot;
    for (const QueryTerm& term : matches.query.terms) snapshot.literalTerms.push_back(term.typed);
    snapshot.understoodText = fmt::format("{}", fmt::join(matches.understood, " "));
    snapshot.expandedTerms = expandedTerms(index_, matches);
    snapshot.requestedTags = matches.query.requestedTags;
    snapshot.plainTagTerms = {matches.plainTags.begin(), matches.plainTags.end()};

    const LexicalScorer scorer(index_, matches.terms, matches.tags ? &*matches.tags : nullptr);
    const LexicalRanking ranking = scorer.rank(limit);
    snapshot.totalCount = ranking.totalCount;
    snapshot.fullMatchScore = fullMatchScore(index_.weights(), matches);
    snapshot.tellingCount = countTelling(index_, matches, ranking.best);
    for (const ScoredMemory& hit : ranking.best) {
        const Uuid& id = index_.item(hit.ordinal)->id;
        snapshot.rankedIDs.push_back(id);
        snapshot.scores.emplace(id, hit.score);
        snapshot.hints.emplace(id, hintFor(index_, matches.query, matches.terms, hit.ordinal));
        const bool holdsAll =
            std::all_of(matches.terms.begin(), matches.terms.end(),
                        [&](const auto* term) { return holdsAsTyped(*term, hit.ordinal); });
        if (holdsAll) snapshot.holdingAllWords.insert(id);
    }
    return snapshot;
}

std::size_t LexicalSearch::byteCount() const {
    std::size_t bytes = 0;
    for (const Remembered& entry : remembered_) bytes += entry.matches->cells().byteCount();
    return bytes;
}

}  // namespace nookery
