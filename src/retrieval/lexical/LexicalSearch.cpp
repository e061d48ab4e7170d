#include "retrieval/lexical/LexicalSearch.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <span>

#include "retrieval/lexical/SearchHints.h"

namespace nookery {
namespace {

/// How many terms are cached beside those of the current query.
constexpr std::size_t cachedTermLimit = 8;

/// How many words of the query's expansion a snapshot names.
constexpr std::size_t expandedTermLimit = 32;

std::vector<std::string> expandedTerms(const LexicalIndex& index,
                                       const LexicalSearch::Matches& matches) {
    std::vector<std::string> expanded;
    for (const QueryTerm& term : matches.query.terms) expanded.push_back(term.typed);
    std::size_t room = expandedTermLimit;
    for (const TermMatches* term : matches.terms) {
        // By letter, since tokens are numbered in the order in which memories came in.
        std::set<std::string_view> words;
        for (const TokenId token : term->expandedTokens())
            words.insert(index.vocabulary().text(token));
        for (const std::string_view word : words) {
            if (room-- == 0) return expanded;
            expanded.emplace_back(word);
        }
    }
    return expanded;
}

bool holdsAsTyped(const TermMatches& term, Ordinal ordinal) {
    return (bitsOf(term.accumulator().at(ordinal)) & ~(correctedBit | expandedBit)) != 0;
}

/// The hits that hold a requested tag or more than half of the rare words. One rare word of three
/// may be there by chance; such a hit does not show that the search has found what was meant.
std::size_t countStrongHits(const LexicalIndex& index, const LexicalSearch::Matches& matches,
                            std::span<const ScoredMemory> hits) {
    const double common = commonWordShare * static_cast<double>(index.size());
    std::vector<const TermMatches*> rare;
    for (const TermMatches* term : matches.terms) {
        if (term->isFunctionWord()) continue;
        if (static_cast<double>(term->hitCount()) <= common) rare.push_back(term);
    }
    const auto isStrong = [&](const ScoredMemory& hit) {
        const auto held = std::count_if(rare.begin(), rare.end(), [&](const auto* term) {
            return (bitsOf(term->accumulator().at(hit.ordinal)) & ~expandedBit) != 0;
        });
        if (2 * static_cast<std::size_t>(held) > rare.size()) return true;
        return matches.tags &&
               TagMatches::requestedCount(matches.tags->accumulator().at(hit.ordinal)) > 0;
    };
    return static_cast<std::size_t>(std::count_if(hits.begin(), hits.end(), isStrong));
}

/// The word as typed; for a word that no memory holds, its most frequent correction. Of equally
/// frequent ones the first by letter, so that the answer does not depend on the order in which
/// memories came in.
std::string correctedTerm(const LexicalIndex& index, const QueryTerm& term,
                          const TermMatches& matches) {
    if (!matches.isCorrected()) return term.typed;
    const auto& tokens = matches.expandedTokens();
    const auto isWorse = [&](TokenId a, TokenId b) {
        const auto memoriesWithA = index.documentFrequency(a);
        const auto memoriesWithB = index.documentFrequency(b);
        return memoriesWithA != memoriesWithB
                   ? memoriesWithA < memoriesWithB
                   : index.vocabulary().text(a) > index.vocabulary().text(b);
    };
    return std::string(
        index.vocabulary().text(*std::max_element(tokens.begin(), tokens.end(), isWorse)));
}

/// See LexicalSnapshot::fullMatchScore. A word without a hit counts as the rarest.
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

void LexicalSearch::clearStaleCache() {
    if (version_ == index_.version()) return;
    version_ = index_.version();
    cache_.clear();
}

/// The memory of the cached term that was not used for longest, once the cache is full.
ScoreAccumulator LexicalSearch::accumulatorToReuse() {
    if (cache_.size() < cachedTermLimit) return {};
    const auto oldest = std::min_element(
        cache_.begin(), cache_.end(),
        [](const CachedTerm& a, const CachedTerm& b) { return a.lastUse < b.lastUse; });
    if (oldest->lastUse >= queryStart_) return {};
    ScoreAccumulator accumulator = oldest->matches->takeAccumulator();
    cache_.erase(oldest);
    return accumulator;
}

const TermMatches& LexicalSearch::matchesOf(const QueryTerm& term) {
    const auto found = std::find_if(cache_.begin(), cache_.end(), [&](const CachedTerm& entry) {
        return entry.typed == term.typed;
    });
    if (found != cache_.end()) {
        found->lastUse = ++useCount_;
        return *found->matches;
    }
    auto matches = std::make_unique<TermMatches>(index_, term, accumulatorToReuse());
    cache_.push_back({term.typed, std::move(matches), ++useCount_});
    return *cache_.back().matches;
}

LexicalSearch::Matches LexicalSearch::match(std::string_view searchText) {
    clearStaleCache();
    Matches matches;
    matches.query = parseQuery(searchText);
    queryStart_ = useCount_ + 1;
    for (const QueryTerm& term : matches.query.terms) {
        if (index_.taggedWith(term.typed) != nullptr) matches.plainTags.push_back(term.typed);
        if (term.normal.empty() && term.allScripts.empty()) continue;
        // A word typed twice counts twice.
        matches.terms.push_back(&matchesOf(term));
        matches.correctedTerms.push_back(correctedTerm(index_, term, *matches.terms.back()));
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
    snapshot.correctedText = fmt::format("{}", fmt::join(matches.correctedTerms, " "));
    snapshot.expandedTerms = expandedTerms(index_, matches);
    snapshot.requestedTags = matches.query.requestedTags;
    snapshot.plainTagTerms = {matches.plainTags.begin(), matches.plainTags.end()};

    const LexicalScorer scorer(index_, matches.terms, matches.tags ? &*matches.tags : nullptr);
    const LexicalRanking ranking = scorer.rank(limit);
    snapshot.totalCount = ranking.totalCount;
    snapshot.fullMatchScore = fullMatchScore(index_.weights(), matches);
    snapshot.strongHitCount = countStrongHits(index_, matches, ranking.best);
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
    for (const CachedTerm& entry : cache_) bytes += entry.matches->accumulator().byteCount();
    return bytes;
}

}  // namespace nookery
