#include "collection/store/MemoryQueries.h"

#include <algorithm>

#include "collection/store/LibraryContents.h"

namespace nookery {
namespace {

/// For more ids than this all are read at once.
constexpr std::size_t mostLookedUpSingly = 500;

template <typename Condition>
std::vector<Uuid> idsOf(const CrumbItemList& items, const Condition& condition) {
    std::vector<Uuid> ids;
    for (const auto& item : items) {
        if (condition(*item)) ids.push_back(item->id);
    }
    return ids;
}

void cutTo(std::size_t limit, std::vector<Uuid>& ids) {
    if (ids.size() > limit) ids.resize(limit);
}

}  // namespace

bool MemoryQueries::areAllLoaded() const { return !contents_.memories.isReadOnDemand(); }

ItemQueries MemoryQueries::inDatabase() const { return contents_.itemQueries(); }

std::size_t MemoryQueries::count() const {
    return areAllLoaded() ? contents_.memories.size() : inDatabase().count();
}

NewestMemories MemoryQueries::newest(const ItemFilter& filter, std::size_t limit) const {
    NewestMemories newest;
    if (areAllLoaded()) {
        for (const auto& item : *contents_.memories.all()) {
            if (!filter.admits(*item)) continue;
            if (++newest.totalCount <= limit) newest.items.push_back(item);
        }
        return newest;
    }
    newest.totalCount = inDatabase().count(filter);
    newest.items = inDatabase().newest(filter, limit);
    contents_.memories.takeRead(newest.items);
    contents_.annotations.readAhead(idsOf(newest.items, [](const auto&) { return true; }));
    return newest;
}

std::vector<Uuid> MemoryQueries::idsBeginningWith(std::string_view prefix,
                                                  std::size_t limit) const {
    const auto begins = [&](const Uuid& id) { return id.toString().starts_with(prefix); };
    std::vector<Uuid> ids;
    if (areAllLoaded()) {
        ids = idsOf(*contents_.memories.all(), [&](const auto& item) { return begins(item.id); });
        std::sort(ids.begin(), ids.end());
        cutTo(limit, ids);
    } else {
        ids = inDatabase().idsFrom(prefix, limit);
        std::erase_if(ids, std::not_fn(begins));
    }
    return ids;
}

std::vector<Uuid> MemoryQueries::idsAround(std::span<const Uuid> ids) const {
    if (areAllLoaded()) return idsOf(*contents_.memories.all(), [](const auto&) { return true; });
    ItemQueries queries = inDatabase();
    if (ids.size() > mostLookedUpSingly) return queries.ids();
    std::vector<Uuid> around(ids.begin(), ids.end());
    for (const Uuid& id : ids) {
        if (const auto before = queries.idBefore(id)) around.push_back(*before);
        if (const auto after = queries.idAfter(id)) around.push_back(*after);
    }
    std::sort(around.begin(), around.end());
    around.erase(std::unique(around.begin(), around.end()), around.end());
    return around;
}

std::unordered_map<Uuid, std::size_t> MemoryQueries::groupSizes() const {
    if (!areAllLoaded()) return inDatabase().groupSizes();
    std::unordered_map<Uuid, std::size_t> sizes;
    for (const auto& item : *contents_.memories.all()) {
        if (item->groupID) ++sizes[*item->groupID];
    }
    return sizes;
}

std::vector<Uuid> MemoryQueries::membersOf(const Uuid& groupID) const {
    if (!areAllLoaded()) return inDatabase().membersOf(groupID);
    return idsOf(*contents_.memories.all(),
                 [&](const auto& item) { return item.groupID == groupID; });
}

}  // namespace nookery
