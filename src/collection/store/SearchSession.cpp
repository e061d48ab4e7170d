#include "collection/store/SearchSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <unordered_set>
#include <utility>

#include "collection/store/LibraryContents.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/Task.h"
#include "retrieval/deep/DeepSearch.h"

namespace nookery {
namespace {

class Stopwatch {
  public:
    std::int64_t microseconds() const {
        return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::steady_clock::now() - start_)
            .count();
    }

  private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// The deep order, and behind it the lexical hits that did not enter the deep stage.
std::vector<SearchHit> inDeepOrder(DeepSearchResult deep, const std::vector<SearchHit>& lexical) {
    std::vector<SearchHit> hits;
    std::unordered_set<Uuid> present;
    for (RankedHit& hit : deep.hits) {
        present.insert(hit.id);
        hits.push_back({std::move(hit.item), hit.score, std::move(hit.hint)});
    }
    for (const SearchHit& hit : lexical) {
        if (!present.contains(hit.item->id)) hits.push_back(hit);
    }
    return hits;
}

void cutTo(std::size_t limit, SearchResult& result) {
    if (result.hits.size() > limit) result.hits.resize(limit);
}

/// Whether nobody who looks at one could tell it from the other.
bool looksTheSame(const SearchResult& left, const SearchResult& right) {
    return left.text == right.text && left.totalCount == right.totalCount &&
           left.isFinal == right.isFinal && left.excerpts == right.excerpts &&
           std::equal(left.hits.begin(), left.hits.end(), right.hits.begin(), right.hits.end(),
                      [](const SearchHit& a, const SearchHit& b) {
                          return a.item == b.item && a.hint == b.hint;
                      });
}

}  // namespace

/// A search whose lexical stage is done. Holds no reference into the index, so that the rest may
/// run on another thread.
struct SearchSession::Search {
    SearchResult lexical;  ///< with more hits than are shown, where the deep stage wants them
    std::shared_ptr<const DeepSearchRequest> deepRequest{};  ///< null when there is no deep stage
    ExcerptTerms terms{};
    std::size_t limit = 0;
    std::size_t excerptCount = 0;
    const TextEmbedder* embedder = nullptr;
    Log* log = nullptr;
    Stopwatch sinceLexical{};

    bool isDone() const { return !deepRequest && excerptCount == 0; }

    SearchResult finish(const std::stop_token& stop) const {
        SearchResult result = lexical;
        if (deepRequest) runDeepStage(result, stop);
        cutTo(limit, result);
        for (const SearchHit& hit : result.hits) {
            if (result.excerpts.size() == excerptCount) break;
            if (stop.stop_requested()) throw Cancelled();
            result.excerpts.push_back(RetrievalEngine::excerpt(*hit.item, terms));
        }
        return result;
    }

    /// Without a deep result the lexical order is the final one.
    void runDeepStage(SearchResult& result, const std::stop_token& stop) const {
        try {
            DeepSearchResult deep = RetrievalEngine::deepSearch(*deepRequest, embedder, stop);
            result.totalCount = deep.totalCount;
            result.hits = inDeepOrder(std::move(deep), lexical.hits);
        } catch (const Cancelled&) {
            throw;
        } catch (const std::exception& error) {
            log->line("NOOKERY deep search error: " + describe(error));
        }
        result.deepMicroseconds = sinceLexical.microseconds();
    }
};

SearchSession::SearchSession(const LibraryContents& contents) : contents_(contents) {
    revision_ = contents_.revision.subscribe([this](std::uint64_t) {
        if (isInUse_) scheduleRefresh();
    });
}

SearchSession::~SearchSession() { deepSearchTask_.request_stop(); }

void SearchSession::setText(const std::string& text, std::size_t limit, SearchDepth depth) {
    deepSearchTask_.request_stop();
    deepSearchTask_ = std::stop_source();
    isSearching_ = false;
    isInUse_ = true;
    limit_ = limit;
    depth_ = depth;
    text_.set(text);
    begin(Reason::newText);
}

void SearchSession::wantExcerpts(std::size_t count) {
    const bool someAreMissing = count > std::exchange(excerptCount_, count);
    if (isInUse_ && someAreMissing) scheduleRefresh();
}

void SearchSession::scheduleRefresh() {
    if (std::exchange(isRefreshScheduled_, true)) return;
    contents_.platform.mainQueue.async(guard_.guarded([this] {
        isRefreshScheduled_ = false;
        // What runs would never end if each change began it anew.
        if (isSearching_) {
            isOutdated_ = true;
        } else {
            begin(Reason::changedLibrary);
        }
    }));
}

bool SearchSession::isBrowsing() const { return trimmed(*text_).empty(); }

std::string SearchSession::browsingText() const {
    return isBrowsing() ? "Browsing the full library." : "";
}

std::string SearchSession::statusText() const {
    return isBrowsing() ? fmt::format("{} most recent memories", (*result_)->hits.size()) : "";
}

void SearchSession::begin(Reason reason) {
    isOutdated_ = false;
    Search search = makeSearch();
    if (reason == Reason::newText) {
        search.lexical.isFinal = search.isDone();
        publish(search.lexical);
    } else if (search.isDone()) {
        showFinal(std::move(search.lexical));
    }
    if (!search.isDone()) finish(std::move(search));
}

SearchSession::Search SearchSession::makeSearch() const {
    Search search{.lexical = {.text = *text_, .hits = {}, .excerpts = {}},
                  .limit = limit_,
                  .excerptCount = excerptCount_,
                  .embedder = contents_.platform.embedder,
                  .log = &contents_.platform.log};
    if (isBrowsing()) {
        search.lexical = browse();
        return search;
    }
    const Stopwatch stopwatch;
    const LexicalSnapshot snapshot =
        contents_.retrieval->search(*text_, std::max(limit_, deepCandidateLimit));
    search.terms = excerptTermsOf(snapshot);
    search.lexical.totalCount = snapshot.totalCount;
    search.lexical.hits.reserve(snapshot.rankedIDs.size());
    for (const Uuid& id : snapshot.rankedIDs) {
        auto item = contents_.memories.find(id);
        if (!item) continue;
        search.lexical.hits.push_back(
            {std::move(item), snapshot.scores.at(id), snapshot.hints.at(id)});
    }
    search.lexical.lexicalMicroseconds = stopwatch.microseconds();
    search.sinceLexical = Stopwatch();
    if (depth_ == SearchDepth::lexical) return search;
    search.deepRequest = contents_.retrieval->prepareDeepSearch(
        snapshot, contents_.annotations.usageSignals(), contents_.platform.clock.now());
    return search;
}

SearchResult SearchSession::browse() const {
    SearchResult result{
        .text = *text_, .totalCount = contents_.memories.size(), .hits = {}, .excerpts = {}};
    const CrumbItemList& all = *contents_.memories.all();
    for (const auto& item : std::span(all).first(std::min(limit_, all.size()))) {
        result.hits.push_back({item, 0, ""});
    }
    return result;
}

void SearchSession::finish(Search search) {
    isSearching_ = true;
    const auto held = std::make_shared<const Search>(std::move(search));
    const auto stop = deepSearchTask_.get_token();
    Task::run(
        contents_.platform.searchQueue, contents_.platform.mainQueue, guard_,
        [held, stop] { return held->finish(stop); },
        [this, held, stop](Outcome<SearchResult> outcome) {
            // A newer text has taken over; it publishes.
            if (!stop.stop_requested()) endSearch(std::move(outcome), held->lexical);
        });
}

void SearchSession::endSearch(Outcome<SearchResult> outcome, const SearchResult& lexical) {
    isSearching_ = false;
    if (const Failure* failure = outcome.failure()) {
        contents_.platform.log.line("NOOKERY search error: " + failure->message);
    }
    SearchResult result = outcome.isDone() ? std::move(outcome.get()) : lexical;
    cutTo(limit_, result);
    result.excerpts.resize(std::min(excerptCount_, result.hits.size()));
    // A memory that was removed meanwhile is left out; the refresh that follows counts anew.
    for (std::size_t i = result.hits.size(); i-- > 0;) {
        SearchHit& hit = result.hits[i];
        hit.item = contents_.memories.find(hit.item->id);
        if (hit.item) continue;
        result.hits.erase(result.hits.begin() + static_cast<std::ptrdiff_t>(i));
        if (i < result.excerpts.size()) {
            result.excerpts.erase(result.excerpts.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    showFinal(std::move(result));
    if (isOutdated_) scheduleRefresh();
}

void SearchSession::showFinal(SearchResult result) {
    result.isFinal = true;
    cutTo(limit_, result);
    if (!looksTheSame(result, **result_)) publish(std::move(result));
}

void SearchSession::publish(SearchResult result) {
    cutTo(limit_, result);
    result_.set(std::make_shared<const SearchResult>(std::move(result)));
}

}  // namespace nookery
