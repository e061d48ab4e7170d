#pragma once

#include <cstdint>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/Published.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "records/CrumbItem.h"
#include "retrieval/RetrievalEngine.h"

namespace nookery {

struct LibraryContents;

/// What one search text came to.
struct SearchResult {
    std::string text;
    std::size_t totalCount = 0;
    std::vector<RankedHit> hits;  ///< best first, as many as were asked for
    bool isFinal = false;         ///< false while the deep stage still runs
    std::int64_t lexicalMicroseconds = 0;
    std::int64_t deepMicroseconds = 0;
};

enum class SearchDepth { lexical, deep };

/// How many hits a search shows when nobody says otherwise.
inline constexpr std::size_t defaultSearchLimit = 240;

/// The search box and what it shows. The lexical list is published at once; the deep order follows
/// from the search queue. A new text cancels the running deep search, and a cancelled one publishes
/// nothing. Main thread.
class SearchSession {
  public:
    explicit SearchSession(const LibraryContents& contents);
    ~SearchSession();

    /// Shows at most `limit` memories. Empty text browses the newest.
    void setText(const std::string& text, std::size_t limit = defaultSearchLimit,
                 SearchDepth depth = SearchDepth::deep);
    /// The library changed: searches again for the same text.
    void refresh();
    /// "Browsing the full library." while the trimmed text is empty, else empty.
    std::string browsingText() const;
    /// The count of memories shown and " most recent memories", while browsing; else empty.
    std::string statusText() const;

    const Published<std::string>& text() const { return text_; }
    const Published<SearchResult>& result() const { return result_; }
    const Published<CrumbItemList>& filteredItems() const { return filteredItems_; }
    const Published<std::unordered_map<Uuid, std::string>>& hints() const { return hints_; }

  private:
    bool isBrowsing() const;
    void browse();
    void search();
    void startDeepSearch(const LexicalSnapshot& snapshot);
    void finishDeepSearch(DeepSearchResult* deep, const std::vector<RankedHit>& lexical,
                          std::int64_t microseconds);
    void publish(SearchResult result);

    const LibraryContents& contents_;

    Published<std::string> text_;
    Published<SearchResult> result_;
    Published<CrumbItemList> filteredItems_;
    Published<std::unordered_map<Uuid, std::string>> hints_;
    std::size_t limit_ = 0;
    SearchDepth depth_ = SearchDepth::deep;
    std::stop_source deepSearchTask_;
    CallbackGuard guard_;
};

}  // namespace nookery
