#include "workspace/Facets.h"

#include <algorithm>
#include <utility>

#include "retrieval/text/Hashtags.h"
#include "workspace/MemoryPlace.h"

namespace nookery {
namespace {

/// What is counted between two other pieces of work on the main thread: about a millisecond's.
constexpr std::size_t memoriesInASlice = 500;
constexpr std::size_t bytesInASlice = std::size_t{1} << 20;

CalendarMonth monthOf(Timestamp date) {
    const CalendarDay day = localDay(date);
    return {day.year, day.month};
}

template <typename Map, typename Key>
void subtractOne(Map& counts, const Key& key) {
    const auto found = counts.find(key);
    if (--found->second == 0) counts.erase(found);
}

/// The first of those that are used most.
std::string mostUsed(const std::map<std::string, std::size_t>& spellings) {
    return std::max_element(spellings.begin(), spellings.end(),
                            [](const auto& a, const auto& b) { return a.second < b.second; })
        ->first;
}

}  // namespace

Facets::Facets(WorkQueue& mainQueue, const CrumbStore& store)
    : mainQueue_(mainQueue), store_(store) {
    listChanges_ = store.itemChanges().subscribe(
        [this](const MemoryListChange& change) { listChanged(change); });
    tagChanges_ =
        store.annotations().manualTagChanges().subscribe([this](const std::vector<Uuid>& ids) {
            for (const Uuid& id : ids) recount(id);
        });
    beginAnew();
}

void Facets::listChanged(const MemoryListChange& change) {
    if (change.isEverything) return beginAnew();
    for (const auto& item : change.inserted) recount(item->id);
    for (const auto& item : change.removed) recount(item->id);
    for (const auto& [before, after] : change.replaced) recount(after->id);
}

void Facets::beginAnew() {
    isComplete_ = false;
    isDifferent_ = true;
    counted_.clear();
    spellings_.clear();
    counts_.updateQuietly([](FacetCounts& counts) { counts = {}; });
    due_.clear();
    const CrumbItemList& all = *store_.items();
    due_.reserve(all.size());
    counted_.reserve(all.size());
    for (const auto& item : all) due_.insert(item->id);
    schedule();
}

void Facets::recount(const Uuid& id) {
    due_.insert(id);
    schedule();
}

void Facets::schedule() {
    if (std::exchange(isScheduled_, true)) return;
    mainQueue_.async(guard_.guarded([this] {
        isScheduled_ = false;
        countSlice();
    }));
}

void Facets::countSlice() {
    std::size_t byteCount = 0;
    for (std::size_t i = 0; i < memoriesInASlice && byteCount < bytesInASlice; ++i) {
        if (due_.empty()) break;
        const Uuid id = due_.extract(due_.begin()).value();
        if (const auto item = store_.item(id)) {
            byteCount += item->title.size() + item->note.size() + item->searchableText.size();
        }
        countOne(id);
    }
    if (!due_.empty()) return schedule();
    isComplete_ = true;
    if (std::exchange(isDifferent_, false)) counts_.update([](FacetCounts&) {});
}

void Facets::countOne(const Uuid& id) {
    auto now = countedAs(id);
    const auto known = counted_.find(id);
    if (known != counted_.end()) {
        if (now == known->second) return;
        subtract(known->second);
        counted_.erase(known);
    }
    if (!now) return;
    add(*now);
    counted_.emplace(id, std::move(*now));
}

/// None when there is no such memory.
std::optional<Facets::Counted> Facets::countedAs(const Uuid& id) const {
    const auto item = store_.item(id);
    if (!item) return std::nullopt;
    return Counted{item->kind, item->groupID, monthOf(item->createdAt), placeOf(*item),
                   store_.tagsOf(id)};
}

void Facets::add(const Counted& memory) {
    isDifferent_ = true;
    counts_.updateQuietly([&](FacetCounts& counts) {
        ++counts.total;
        ++counts.byKind[memory.kind];
        ++(memory.groupID ? counts.byGroup[*memory.groupID] : counts.ungroupedCount);
        ++counts.byMonth[memory.month];
        if (memory.place) ++counts.byPlace[*memory.place];
        for (const std::string& tag : memory.tags) changeSpelling(counts, tag, true);
    });
}

void Facets::subtract(const Counted& memory) {
    isDifferent_ = true;
    counts_.updateQuietly([&](FacetCounts& counts) {
        --counts.total;
        subtractOne(counts.byKind, memory.kind);
        if (memory.groupID) {
            subtractOne(counts.byGroup, *memory.groupID);
        } else {
            --counts.ungroupedCount;
        }
        subtractOne(counts.byMonth, memory.month);
        if (memory.place) subtractOne(counts.byPlace, *memory.place);
        for (const std::string& tag : memory.tags) changeSpelling(counts, tag, false);
    });
}

void Facets::changeSpelling(FacetCounts& counts, const std::string& spelling, bool isAdded) {
    const std::string tag = comparableTag(spelling);
    auto& spellings = spellings_[tag];
    if (isAdded) {
        ++spellings[spelling];
        ++counts.byTag[tag].count;
    } else {
        subtractOne(spellings, spelling);
        --counts.byTag[tag].count;
    }
    if (spellings.empty()) {
        spellings_.erase(tag);
        counts.byTag.erase(tag);
    } else {
        counts.byTag[tag].spelling = mostUsed(spellings);
    }
}

}  // namespace nookery
