#pragma once

#include <compare>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "foundation/Published.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

struct CalendarMonth {
    int year = 1970;
    int month = 1;  ///< 1 to 12

    auto operator<=>(const CalendarMonth&) const = default;
};

struct TagCount {
    std::string spelling;  ///< the one that most memories use; of equals, the first in byte order
    std::size_t count = 0;

    bool operator==(const TagCount&) const = default;
};

/// How many memories there are of each kind, in each group, with each tag, of each month, of each
/// place. What no memory has, has no entry.
struct FacetCounts {
    std::size_t total = 0;
    std::map<CrumbKind, std::size_t> byKind;
    std::unordered_map<Uuid, std::size_t> byGroup;
    std::size_t ungroupedCount = 0;
    std::map<std::string, TagCount> byTag;  ///< under the tag as tags are compared
    /// Of capture, in this computer's time zone; newest first.
    std::map<CalendarMonth, std::size_t, std::greater<>> byMonth;
    std::map<std::string, std::size_t> byPlace;  ///< under what `placeOf` says

    bool operator==(const FacetCounts&) const = default;
};

/// The counts by which a library is browsed, kept in step with each change of a memory or its tags.
/// A change costs what changed, not what the library holds. A library that has just been opened is
/// counted in slices between whatever else the main thread has to do. Main thread. Must not outlive
/// the store.
class Facets {
  public:
    Facets(WorkQueue& mainQueue, const CrumbStore& store);

    /// Announced when they have changed and are those of the library, at most once in a turn of the
    /// main queue.
    const Published<FacetCounts>& counts() const { return counts_; }
    /// Whether the counts are those of the whole library, as it was before this turn.
    bool isComplete() const { return isComplete_; }

  private:
    /// What a memory was counted as.
    struct Counted {
        CrumbKind kind = CrumbKind::text;
        std::optional<Uuid> groupID;
        CalendarMonth month;
        std::optional<std::string> place;
        std::vector<std::string> tags;  ///< as they are spelt

        bool operator==(const Counted&) const = default;
    };

    void listChanged(const MemoryListChange& change);
    void beginAnew();
    void recount(const Uuid& id);
    void schedule();
    void countSlice();
    void countOne(const Uuid& id);
    std::optional<Counted> countedAs(const Uuid& id) const;
    void add(const Counted& memory);
    void subtract(const Counted& memory);
    void changeSpelling(FacetCounts& counts, const std::string& spelling, bool isAdded);

    WorkQueue& mainQueue_;
    const CrumbStore& store_;
    Published<FacetCounts> counts_;
    std::unordered_map<Uuid, Counted> counted_;
    /// How many memories use each spelling of a tag.
    std::unordered_map<std::string, std::map<std::string, std::size_t>> spellings_;
    std::unordered_set<Uuid> due_;
    bool isScheduled_ = false;
    bool isComplete_ = false;
    bool isDifferent_ = false;  ///< from what was announced last
    Subscription listChanges_;
    Subscription tagChanges_;
    CallbackGuard guard_;
};

}  // namespace nookery
