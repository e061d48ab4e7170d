#include "collection/store/SearchSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "collection/store/LibraryContents.h"
#include "foundation/Text.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/Task.h"

namespace nookery {
namespace {

/// As many candidates as the deep stage may take, however few memories are to be shown.
constexpr std::size_t deepCandidateLimit = 240;

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

std::vector<RankedHit> hitsOf(const LexicalSnapshot& snapshot) {
    std::vector<RankedHit> hits;
    hits.reserve(snapshot.rankedIDs.size());
    for (const Uuid& id : snapshot.rankedIDs) {
        hits.push_back({id, snapshot.scores.at(id), snapshot.hints.at(id)});
    }
    return hits;
}

/// The deep order, and behind it the lexical hits that did not enter the deep stage.
std::vector<RankedHit> appended(std::vector<RankedHit> deep,
                                const std::vector<RankedHit>& lexical) {
    std::unordered_map<Uuid, bool> present;
    for (const RankedHit& hit : deep) present.emplace(hit.id, true);
    for (const RankedHit& hit : lexical) {
        if (!present.contains(hit.id)) deep.push_back(hit);
    }
    return deep;
}

}  // namespace

SearchSession::SearchSession(const LibraryContents& contents) : contents_(contents) {}

SearchSession::~SearchSession() { deepSearchTask_.request_stop(); }

void SearchSession::setText(const std::string& text, std::size_t limit, SearchDepth depth) {
    limit_ = limit;
    depth_ = depth;
    text_.set(text);
    refresh();
}

void SearchSession::refresh() {
    deepSearchTask_.request_stop();
    deepSearchTask_ = std::stop_source();
    if (isBrowsing()) {
        browse();
    } else {
        search();
    }
}

bool SearchSession::isBrowsing() const { return trimmed(*text_).empty(); }

std::string SearchSession::browsingText() const {
    return isBrowsing() ? "Browsing the full library." : "";
}

std::string SearchSession::statusText() const {
    return isBrowsing() ? fmt::format("{} most recent memories", filteredItems_->size()) : "";
}

void SearchSession::browse() {
    SearchResult result{
        .text = *text_, .totalCount = contents_.memories.size(), .hits = {}, .isFinal = true};
    const auto& all = contents_.memories.all().get();
    for (const auto& item : std::span(all).first(std::min(limit_, all.size()))) {
        result.hits.push_back({item->id, 0, ""});
    }
    publish(std::move(result));
}

void SearchSession::search() {
    const Stopwatch stopwatch;
    const auto snapshot = contents_.retrieval->search(*text_, std::max(limit_, deepCandidateLimit));
    SearchResult result{
        .text = *text_, .totalCount = snapshot.totalCount, .hits = hitsOf(snapshot)};
    result.lexicalMicroseconds = stopwatch.microseconds();
    result.isFinal = depth_ == SearchDepth::lexical;
    publish(std::move(result));
    if (depth_ == SearchDepth::deep) startDeepSearch(snapshot);
}

void SearchSession::startDeepSearch(const LexicalSnapshot& snapshot) {
    auto request = contents_.retrieval->prepareDeepSearch(
        snapshot, contents_.annotations.usageSignals(), contents_.platform.clock.now());
    auto lexical = hitsOf(snapshot);
    const auto stop = deepSearchTask_.get_token();
    const Stopwatch stopwatch;
    Task::run(
        contents_.platform.searchQueue, contents_.platform.mainQueue, guard_,
        [embedder = contents_.platform.embedder, request = std::move(request), stop] {
            return RetrievalEngine::deepSearch(*request, embedder, stop);
        },
        [this, stop, stopwatch, lexical = std::move(lexical)](Outcome<DeepSearchResult> outcome) {
            // A newer text has taken over; it publishes.
            if (stop.stop_requested() || outcome.isStopped()) return;
            if (const Failure* failure = outcome.failure()) {
                contents_.platform.log.line("NOOKERY deep search error: " + failure->message);
            }
            finishDeepSearch(outcome.isDone() ? &outcome.get() : nullptr, lexical,
                             stopwatch.microseconds());
        });
}

/// Without a deep result the lexical order is the final one.
void SearchSession::finishDeepSearch(DeepSearchResult* deep, const std::vector<RankedHit>& lexical,
                                     std::int64_t microseconds) {
    publish({.text = *text_,
             .totalCount = deep != nullptr ? deep->totalCount : result_->totalCount,
             .hits = deep != nullptr ? appended(std::move(deep->hits), lexical) : lexical,
             .isFinal = true,
             .lexicalMicroseconds = result_->lexicalMicroseconds,
             .deepMicroseconds = microseconds});
}

void SearchSession::publish(SearchResult result) {
    if (result.hits.size() > limit_) result.hits.resize(limit_);
    CrumbItemList shown;
    std::unordered_map<Uuid, std::string> hints;
    for (const RankedHit& hit : result.hits) {
        // A memory deleted while the deep stage ran is left out.
        auto item = contents_.memories.find(hit.id);
        if (!item) continue;
        shown.push_back(std::move(item));
        if (!hit.hint.empty()) hints.emplace(hit.id, hit.hint);
    }
    std::erase_if(result.hits,
                  [&](const RankedHit& hit) { return !contents_.memories.find(hit.id); });
    filteredItems_.set(std::move(shown));
    hints_.set(std::move(hints));
    result_.set(std::move(result));
}

}  // namespace nookery
