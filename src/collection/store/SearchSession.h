#pragma once

#include <cstdint>
#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "foundation/Published.h"
#include "platform/Platform.h"
#include "platform/work/Outcome.h"
#include "platform/work/WorkQueue.h"
#include "records/CrumbItem.h"
#include "retrieval/RetrievalEngine.h"

namespace nookery {

struct LibraryContents;

/// One memory that a search found, or that browsing shows.
struct SearchHit {
    CrumbItemPointer item;
    double score = 0;
    std::string hint;  ///< the reason shown under it; empty while browsing
};

/// What one search text came to. Nothing of it changes once it is published.
struct SearchResult {
    std::string text;
    std::size_t totalCount = 0;
    std::vector<SearchHit> hits;  ///< best first, as many as were asked for
    /// Of the first hits, as many as were asked for. None before the result is final.
    std::vector<Excerpt> excerpts;
    bool isFinal = false;  ///< false while the deep stage still runs
    std::int64_t lexicalMicroseconds = 0;
    std::int64_t deepMicroseconds = 0;
};
using SearchResultPointer = std::shared_ptr<const SearchResult>;

enum class SearchDepth { lexical, deep };

/// How many hits a search shows when nobody says otherwise.
inline constexpr std::size_t defaultSearchLimit = 240;

/// A search box and what it shows; each view has its own. The lexical order is published at once;
/// the final one, with excerpts, follows from the search queue, where the sessions take turns. A
/// new text cancels the running search of the old one, and a cancelled one publishes nothing.
///
/// When the library changes, the session searches again, at most once in a turn of the main queue
/// and never before the search that runs has ended; it then publishes a final result only, and only
/// when that differs from what is shown: in the order, a record, a hint, an excerpt or the count.
///
/// Main thread. Must not outlive the library.
class SearchSession {
  public:
    explicit SearchSession(const LibraryContents& contents);
    ~SearchSession();

    /// Shows at most `limit` memories. Empty text browses the newest.
    void setText(const std::string& text, std::size_t limit = defaultSearchLimit,
                 SearchDepth depth = SearchDepth::deep);
    /// Has excerpts made of the first `count` hits of this text and all later ones. 0 at first. A
    /// larger count makes the missing ones, and publishes the result again.
    void wantExcerpts(std::size_t count);
    /// "Browsing the full library." while the trimmed text is empty, else empty.
    std::string browsingText() const;
    /// The count of memories shown and " most recent memories", while browsing; else empty.
    std::string statusText() const;

    const Published<std::string>& text() const { return text_; }
    /// Never null; empty and not final before the first text.
    const Published<SearchResultPointer>& result() const { return result_; }

  private:
    struct Search;
    enum class Reason { newText, changedLibrary };

    bool isBrowsing() const;
    void scheduleRefresh();
    void begin(Reason reason);
    Search makeSearch() const;
    SearchResult browse() const;
    void finish(Search search);
    void endSearch(Outcome<SearchResult> outcome, const SearchResult& lexical);
    void showFinal(SearchResult result);
    void publish(SearchResult result);

    const LibraryContents& contents_;

    Published<std::string> text_;
    Published<SearchResultPointer> result_{std::make_shared<const SearchResult>()};
    std::size_t limit_ = defaultSearchLimit;
    std::size_t excerptCount_ = 0;
    SearchDepth depth_ = SearchDepth::deep;
    bool isInUse_ = false;  ///< a text was set
    bool isRefreshScheduled_ = false;
    bool isSearching_ = false;  ///< on the search queue
    bool isOutdated_ = false;   ///< the library changed during that
    std::stop_source deepSearchTask_;
    Subscription revision_;
    CallbackGuard guard_;
};

}  // namespace nookery
