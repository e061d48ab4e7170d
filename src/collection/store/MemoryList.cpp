#include "collection/store/MemoryList.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

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

const Published<CrumbItemList>& MemoryList::all() const {
    if (isReadOnDemand()) throw std::logic_error("The memories are read on demand.");
    return items_;
}

void MemoryList::load(PreparedMemories prepared) {
    read_ = nullptr;
    byID_ = std::move(prepared.byID);
    items_.updateQuietly([&](CrumbItemList& items) { items = std::move(prepared.items); });
    tellEverything();
}

void MemoryList::readOnDemand(ReadRecord read) {
    byID_.clear();
    items_.updateQuietly([](CrumbItemList& items) { items.clear(); });
    read_ = std::move(read);
}

void MemoryList::takeRead(CrumbItemList& read) {
    for (CrumbItemPointer& record : read) record = byID_.emplace(record->id, record).first->second;
}

void MemoryList::forgetRead() {
    if (isReadOnDemand()) byID_.clear();
}

CrumbItemPointer MemoryList::find(const Uuid& id) const {
    const auto found = byID_.find(id);
    if (found != byID_.end()) return found->second;
    CrumbItemPointer record = isReadOnDemand() ? read_(id) : nullptr;
    if (record) byID_.emplace(id, record);
    return record;
}

/// What observers know a record as.
CrumbItemPointer MemoryList::announcedRecord(const CrumbItemPointer& current) const {
    const auto quiet = quietlyReplaced_.find(current->id);
    return quiet == quietlyReplaced_.end() ? current : quiet->second;
}

void MemoryList::add(std::span<const CrumbItemPointer> added) {
    // An id that stands twice in what is added keeps its last record only.
    std::unordered_map<Uuid, CrumbItemPointer> latest;
    for (const auto& item : added) latest.insert_or_assign(item->id, item);
    byID_.reserve(byID_.size() + latest.size());
    MemoryListChange change;
    CrumbItemList newcomers;  // to the place where they now belong
    std::unordered_set<Uuid> moved;
    for (const auto& [id, item] : latest) {
        CrumbItemPointer& known = byID_[id];
        if (!known) {
            change.inserted.push_back(item);
            newcomers.push_back(item);
        } else if (known->createdAt == item->createdAt) {
            change.replaced.push_back({announcedRecord(known), item});
            replaceInPlace(item);
        } else {
            change.replaced.push_back({announcedRecord(known), item});
            moved.insert(id);
            newcomers.push_back(item);
        }
        known = item;
    }
    takeOut(moved);
    insert(std::move(newcomers));
    tell(std::move(change));
}

/// The place of a record is given by its time and id.
void MemoryList::replaceInPlace(const CrumbItemPointer& item) {
    if (isReadOnDemand()) return;
    items_.updateQuietly([&](CrumbItemList& items) {
        *std::lower_bound(items.begin(), items.end(), item, pointsToNewer) = item;
    });
}

void MemoryList::takeOut(const std::unordered_set<Uuid>& ids) {
    if (ids.empty() || isReadOnDemand()) return;
    items_.updateQuietly([&](CrumbItemList& items) {
        std::erase_if(items, [&](const auto& item) { return ids.contains(item->id); });
    });
}

void MemoryList::insert(CrumbItemList inserted) {
    if (inserted.empty() || isReadOnDemand()) return;
    std::sort(inserted.begin(), inserted.end(), pointsToNewer);
    items_.updateQuietly([&](CrumbItemList& items) {
        const auto middle = static_cast<std::ptrdiff_t>(items.size());
        items.insert(items.end(), inserted.begin(), inserted.end());
        std::inplace_merge(items.begin(), items.begin() + middle, items.end(), pointsToNewer);
    });
}

void MemoryList::replaceQuietly(CrumbItemPointer changed) {
    CrumbItemPointer& known = byID_[changed->id];
    if (known) quietlyReplaced_.emplace(changed->id, known);
    replaceInPlace(changed);
    known = std::move(changed);
}

void MemoryList::announce() {
    if (!quietlyReplaced_.empty()) tell({});
}

void MemoryList::remove(const std::unordered_set<Uuid>& ids) {
    MemoryListChange change;
    for (const Uuid& id : ids) {
        const auto known = byID_.find(id);
        if (known == byID_.end()) continue;
        change.removed.push_back(announcedRecord(known->second));
        byID_.erase(known);
    }
    takeOut(ids);
    tell(std::move(change));
}

void MemoryList::clear() {
    byID_.clear();
    items_.updateQuietly([](CrumbItemList& items) { items.clear(); });
    tellEverything();
}

/// Adds what was replaced quietly, and is still there, to the change.
void MemoryList::tell(MemoryListChange change) {
    for (const auto& removed : change.removed) quietlyReplaced_.erase(removed->id);
    for (const auto& replaced : change.replaced) quietlyReplaced_.erase(replaced.after->id);
    for (auto& [id, before] : std::exchange(quietlyReplaced_, {})) {
        change.replaced.push_back({std::move(before), byID_.at(id)});
    }
    std::sort(change.inserted.begin(), change.inserted.end(), pointsToNewer);
    std::sort(change.removed.begin(), change.removed.end(), pointsToNewer);
    std::sort(
        change.replaced.begin(), change.replaced.end(),
        [](const auto& left, const auto& right) { return isNewer(*left.after, *right.after); });
    if (change.isEmpty()) return;
    announceChange(std::move(change));
}

void MemoryList::tellEverything() {
    quietlyReplaced_.clear();
    MemoryListChange change;
    change.isEverything = true;
    announceChange(std::move(change));
}

void MemoryList::announceChange(MemoryListChange change) {
    changes_.set(std::move(change));
    // Removed records are not kept alive by what was said of them.
    changes_.updateQuietly([](MemoryListChange& told) { told = {}; });
    items_.update([](CrumbItemList&) {});
}

}  // namespace nookery
