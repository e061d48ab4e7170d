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

class MemoryAnnotations;
class MemoryList;

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

/// The search box and what it shows. The lexical list is published at once; the deep order follows
/// from the search queue. A new text cancels the running deep search, and a cancelled one publishes
/// nothing. Main thread.
class SearchSession {
  public:
    SearchSession(const Platform& platform, const RetrievalEngine& engine,
                  const MemoryList& memories, const MemoryAnnotations& annotations);
    ~SearchSession();

    /// Shows at most `limit` memories. Empty text browses the newest.
    void setText(const std::string& text, std::size_t limit, SearchDepth depth);
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
    void publish(SearchResult result);

    const Platform& platform_;
    const RetrievalEngine& engine_;
    const MemoryList& memories_;
    const MemoryAnnotations& annotations_;

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
