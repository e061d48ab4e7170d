#include "records/SecureMemories.h"

#include <set>
#include <unordered_map>

namespace nookery {

FindMemory finderIn(const CrumbItemList& all) {
    std::unordered_map<Uuid, CrumbItemPointer> byID;
    byID.reserve(all.size());
    for (const auto& item : all) byID.emplace(item->id, item);
    return [byID = std::move(byID)](const Uuid& id) {
        const auto found = byID.find(id);
        return found == byID.end() ? nullptr : found->second;
    };
}

bool isLocalOnly(const CrumbItem& item, const FindMemory& find) {
    if (isSecure(item)) return true;
    std::set<Uuid> visited{item.id};  // records from elsewhere may name each other as sources
    auto sourceID = item.sourceItemID;
    while (sourceID && visited.insert(*sourceID).second) {
        const auto source = find(*sourceID);
        if (!source) return false;
        if (isSecure(*source)) return true;
        sourceID = source->sourceItemID;
    }
    return false;
}

CrumbItemList derivedFromSecure(const CrumbItemList& all, const std::unordered_set<Uuid>& removed) {
    const FindMemory find = finderIn(all);
    CrumbItemList derived;
    for (const auto& item : all) {
        const bool losesItsSource = item->sourceItemID && removed.contains(*item->sourceItemID) &&
                                    !removed.contains(item->id);
        if (!losesItsSource || isSecure(*item) || !isLocalOnly(*item, find)) continue;
        CrumbItem secured = *item;
        markSecure(secured);
        derived.push_back(std::make_shared<const CrumbItem>(std::move(secured)));
    }
    return derived;
}

}  // namespace nookery
