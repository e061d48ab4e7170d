#include "retrieval/LexicalSearch.h"

#include <algorithm>

#include "retrieval/SearchHints.h"

namespace nookery {
namespace {

/// Terms remembered beside those of the query at hand.
constexpr std::size_t rememberedTermLimit = 8;

/// Words reached from the typed ones that a snapshot names.
constexpr std::size_t expandedTermLimit = 32;

std::vector<std::string> expandedTerms(const LexicalIndex& index,
                                       const LexicalSearch::Findings& findings) {
    std::vector<std::string> expanded;
    for (const QueryTerm& term : findings.query.terms) expanded.push_back(term.typed);
    std::size_t room = expandedTermLimit;
    for (const TermEvidence* term : findings.terms) {
        for (const TokenId token : term->expandedTokens()) {
            if (room-- == 0) return expanded;
            expanded.emplace_back(index.tokenText(token));
        }
    }
    return expanded;
}

/// From this many telling hits on, nobody asks how many more there are.
constexpr std::size_t enoughTellingHits = 100;

std::size_t countTelling(const LexicalIndex& index, const LexicalSearch::Findings& findings,
                         std::size_t totalCount) {
    const double common = commonWordShare * static_cast<double>(index.size());
    std::vector<const TermEvidence*> telling;
    for (const TermEvidence* term : findings.terms) {
        if (static_cast<double>(term->hitCount()) <= common) telling.push_back(term);
    }
    if (telling.size() == findings.terms.size()) return totalCount;
    std::optional<TagEvidence> requested;
    if (!findings.query.requestedTags.empty())
        requested.emplace(index, findings.requestedTags(), std::vector<std::string>{});
    return LexicalScorer(index, telling, requested ? &*requested : nullptr)
        .countUpTo(enoughTellingHits);
}

}  // namespace

std::vector<std::string> LexicalSearch::Findings::requestedTags() const {
    return {query.requestedTags.begin(), query.requestedTags.end()};
}

void LexicalSearch::forgetWhenStale() {
    if (version_ == index_.version()) return;
    version_ = index_.version();
    remembered_.clear();
}

/// The cells of the evidence that was not used for longest, once enough is remembered.
CellMap LexicalSearch::cellsToReuse() {
    if (remembered_.size() < rememberedTermLimit) return {};
    const auto oldest = std::min_element(
        remembered_.begin(), remembered_.end(),
        [](const Remembered& a, const Remembered& b) { return a.lastUse < b.lastUse; });
    if (oldest->lastUse >= queryStart_) return {};
    CellMap cells = oldest->evidence->takeCells();
    remembered_.erase(oldest);
    return cells;
}

const TermEvidence& LexicalSearch::evidenceOf(const QueryTerm& term) {
    const auto found =
        std::find_if(remembered_.begin(), remembered_.end(),
                     [&](const Remembered& entry) { return entry.typed == term.typed; });
    if (found != remembered_.end()) {
        found->lastUse = ++useCount_;
        return *found->evidence;
    }
    auto evidence = std::make_unique<TermEvidence>(index_, term, cellsToReuse());
    remembered_.push_back({term.typed, std::move(evidence), ++useCount_});
    return *remembered_.back().evidence;
}

LexicalSearch::Findings LexicalSearch::look(std::string_view searchText) {
    forgetWhenStale();
    Findings findings;
    findings.query = parseQuery(searchText);
    queryStart_ = useCount_ + 1;
    for (const QueryTerm& term : findings.query.terms) {
        if (index_.taggedWith(term.typed) != nullptr) findings.plainTags.push_back(term.typed);
        if (term.normal.empty() && term.allScripts.empty()) continue;
        const TermEvidence* evidence = &evidenceOf(term);
        if (std::find(findings.terms.begin(), findings.terms.end(), evidence) ==
            findings.terms.end()) {
            findings.terms.push_back(evidence);
        }
    }
    std::vector<std::string>& plain = findings.plainTags;
    std::sort(plain.begin(), plain.end());
    plain.erase(std::unique(plain.begin(), plain.end()), plain.end());
    const std::vector<std::string> requested = findings.requestedTags();
    if (!requested.empty() || !plain.empty()) findings.tags.emplace(index_, requested, plain);
    return findings;
}

LexicalSnapshot LexicalSearch::search(std::string_view searchText, std::size_t limit) {
    LexicalSnapshot snapshot;
    const Findings findings = look(searchText);
    snapshot.query = findings.query.text;
    if (findings.query.isEmpty()) return snapshot;
    for (const QueryTerm& term : findings.query.terms) snapshot.literalTerms.push_back(term.typed);
    snapshot.expandedTerms = expandedTerms(index_, findings);
    snapshot.requestedTags = findings.query.requestedTags;
    snapshot.plainTagTerms = {findings.plainTags.begin(), findings.plainTags.end()};

    const LexicalScorer scorer(index_, findings.terms, findings.tags ? &*findings.tags : nullptr);
    const LexicalRanking ranking = scorer.rank(limit);
    snapshot.totalCount = ranking.totalCount;
    snapshot.tellingCount = countTelling(index_, findings, ranking.totalCount);
    for (const ScoredMemory& hit : ranking.best) {
        const Uuid& id = index_.item(hit.ordinal)->id;
        snapshot.rankedIDs.push_back(id);
        snapshot.scores.emplace(id, hit.score);
        snapshot.hints.emplace(id, hintFor(index_, findings.query, findings.terms, hit.ordinal));
    }
    return snapshot;
}

std::size_t LexicalSearch::byteCount() const {
    std::size_t bytes = 0;
    for (const Remembered& entry : remembered_) bytes += entry.evidence->cells().byteCount();
    return bytes;
}

}  // namespace nookery
