#include "collection/store/MemoryList.h"

#include <algorithm>

namespace nookery {
namespace {

bool pointsToNewer(const CrumbItemPointer& left, const CrumbItemPointer& right) {
    return isNewer(*left, *right);
}

}  // namespace

bool isNewer(const CrumbItem& left, const CrumbItem& right) {
    if (left.createdAt != right.createdAt) return left.createdAt > right.createdAt;
    return left.id < right.id;
}

PreparedMemories::PreparedMemories(CrumbItemList all) : items(std::move(all)) {
    byID.reserve(items.size());
    for (const auto& item : items) byID.insert_or_assign(item->id, item);
    if (byID.size() != items.size()) {
        std::erase_if(items, [&](const auto& item) { return byID.at(item->id) != item; });
    }
    if (!std::is_sorted(items.begin(), items.end(), pointsToNewer)) {
        std::sort(items.begin(), items.end(), pointsToNewer);
    }
}

void MemoryList::load(PreparedMemories prepared) {
    byID_ = std::move(prepared.byID);
    items_.set(std::move(prepared.items));
}

CrumbItemPointer MemoryList::find(const Uuid& id) const {
    const auto found = byID_.find(id);
    return found == byID_.end() ? nullptr : found->second;
}

void MemoryList::add(std::span<const CrumbItemPointer> added) {
    std::unordered_set<Uuid> replaced;
    byID_.reserve(byID_.size() + added.size());
    for (const auto& item : added) {
        if (!byID_.insert_or_assign(item->id, item).second) replaced.insert(item->id);
    }
    items_.update([&](CrumbItemList& items) {
        if (!replaced.empty()) {
            std::erase_if(items, [&](const auto& item) { return replaced.contains(item->id); });
        }
        const auto middle = static_cast<std::ptrdiff_t>(items.size());
        for (const auto& item : added) {
            // An id that stands twice in what is added keeps its last record only.
            if (byID_.at(item->id) == item) items.push_back(item);
        }
        const auto seam = items.begin() + middle;
        if (!std::is_sorted(seam, items.end(), pointsToNewer)) {
            std::sort(seam, items.end(), pointsToNewer);
        }
        std::inplace_merge(items.begin(), seam, items.end(), pointsToNewer);
    });
}

void MemoryList::replaceQuietly(CrumbItemPointer changed) {
    byID_[changed->id] = changed;
    items_.updateQuietly([&](CrumbItemList& items) {
        *std::lower_bound(items.begin(), items.end(), changed, pointsToNewer) = changed;
    });
}

void MemoryList::announce() {
    items_.update([](CrumbItemList&) {});
}

void MemoryList::remove(const std::unordered_set<Uuid>& ids) {
    for (const Uuid& id : ids) byID_.erase(id);
    items_.update([&](CrumbItemList& items) {
        std::erase_if(items, [&](const auto& item) { return ids.contains(item->id); });
    });
}

void MemoryList::clear() {
    byID_.clear();
    items_.set({});
}

}  // namespace nookery
