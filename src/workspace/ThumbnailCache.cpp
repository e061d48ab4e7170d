#include "workspace/ThumbnailCache.h"

#include <algorithm>
#include <utility>

#include "collection/enrichment/EnrichmentResults.h"
#include "collection/originals/MemoryRemoval.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/Task.h"
#include "workspace/ThumbnailReading.h"

namespace nookery {
namespace {

/// A thumbnail that is wanted again is held against its original after so long.
constexpr double checkIntervalSeconds = 30;
/// The cache folder is tidied when this share of its bound was written since.
constexpr std::uint64_t tidyingShare = 16;
/// What an entry takes beside its pixels.
constexpr std::size_t entryByteCount = 256;

std::size_t byteCountOf(const PicturePointer& picture) {
    return entryByteCount + (picture ? picture->pixels.size() : 0);
}

}  // namespace

ThumbnailCache::ThumbnailCache(const Platform& platform, LibraryLayout layout,
                               const CrumbStore& store, ThumbnailLimits limits)
    : platform_(platform), layout_(std::move(layout)), store_(store), limits_(limits) {
    listChanges_ = store.itemChanges().subscribe(
        [this](const MemoryListChange& change) { listChanged(change); });
}

ThumbnailCache::~ThumbnailCache() { stop_.request_stop(); }

void ThumbnailCache::want(const std::vector<Uuid>& ids) {
    const Timestamp now = platform_.clock.now();
    waiting_.clear();
    wanted_ = {ids.begin(), ids.end()};
    std::vector<Uuid> toBeChecked;
    for (const Uuid& id : ids) {
        const auto entry = entries_.find(id);
        if (entry == entries_.end()) {
            waiting_.push_back(id);
        } else if (std::abs(secondsBetween(entry->second.checkedAt, now)) > checkIntervalSeconds) {
            toBeChecked.push_back(id);
        }
    }
    waiting_.insert(waiting_.end(), toBeChecked.begin(), toBeChecked.end());
    // The first ones are to go last.
    for (auto id = ids.rbegin(); id != ids.rend(); ++id) {
        const auto entry = entries_.find(*id);
        if (entry != entries_.end()) used_.splice(used_.begin(), used_, entry->second.use);
    }
    if (!writtenByteCount_) tidyDisk();
    beginReading();
}

PicturePointer ThumbnailCache::find(const Uuid& id) const {
    const auto entry = entries_.find(id);
    return entry == entries_.end() ? nullptr : entry->second.picture;
}

void ThumbnailCache::beginReading() {
    const auto most = static_cast<std::size_t>(std::max(1, platform_.enrichThreadCount));
    while (!waiting_.empty() && underWay_.size() < most) {
        const Uuid id = waiting_.front();
        waiting_.pop_front();
        beginOne(id);
    }
}

void ThumbnailCache::beginOne(const Uuid& id) {
    const auto item = store_.item(id);
    if (!item || !hasReadableOriginal(*item) || !underWay_.insert(id).second) return;
    const auto entry = entries_.find(id);
    Task::run(
        platform_.enrichQueue, platform_.mainQueue, guard_,
        [id, original = Path(*item->filePath), platform = platform_, layout = layout_,
         known = entry == entries_.end() ? std::nullopt : entry->second.original,
         stop = stop_.get_token()] {
            return readThumbnail(id, original, known, platform, layout, stop);
        },
        [this, id](Outcome<ThumbnailReading> outcome) { finish(id, std::move(outcome)); });
}

void ThumbnailCache::finish(const Uuid& id, Outcome<ThumbnailReading> outcome) {
    underWay_.erase(id);
    const auto item = store_.item(id);
    if (!item || !hasReadableOriginal(*item)) {
        // Whoever removed its files may not have seen the one that has just come.
        removeThumbnailsLater({id}, layout_, platform_);
    } else if (outcome.isDone()) {
        keep(id, std::move(outcome.get()));
    } else if (const auto known = entries_.find(id); known != entries_.end()) {
        // What is shown stays until the original can be read again.
        known->second.checkedAt = platform_.clock.now();
    } else {
        keep(id, {});
    }
    if (writtenByteCount_ >= limits_.diskByteCount / tidyingShare) tidyDisk();
    beginReading();
}

void ThumbnailCache::keep(const Uuid& id, ThumbnailReading reading) {
    if (writtenByteCount_) *writtenByteCount_ += reading.writtenByteCount;
    const Timestamp now = platform_.clock.now();
    if (const auto known = entries_.find(id); known != entries_.end()) {
        known->second.checkedAt = now;
        if (reading.isKnown) return;
        drop(id);
    }
    byteCount_ += byteCountOf(reading.picture);
    used_.push_front(id);
    entries_[id] = {std::move(reading.picture), reading.original, now, used_.begin()};
    makeRoom(id);
    tellChanged(id);
}

/// What is wanted stays; where that is too much, the newest goes again, and the rest is left out.
void ThumbnailCache::makeRoom(const Uuid& newest) {
    auto candidate = used_.end();
    while (byteCount_ > limits_.memoryByteCount && candidate != used_.begin()) {
        --candidate;
        if (wanted_.contains(*candidate)) continue;
        const Uuid id = *candidate++;
        drop(id);
    }
    if (byteCount_ <= limits_.memoryByteCount) return;
    drop(newest);
    waiting_.clear();
}

void ThumbnailCache::drop(const Uuid& id) {
    const auto entry = entries_.find(id);
    if (entry == entries_.end()) return;
    byteCount_ -= byteCountOf(entry->second.picture);
    used_.erase(entry->second.use);
    entries_.erase(entry);
}

void ThumbnailCache::tellChanged(const Uuid& id) {
    untold_.push_back(id);
    if (untold_.size() > 1) return;
    platform_.mainQueue.async(guard_.guarded([this] {
        changed_.set(std::exchange(untold_, {}));
        changed_.updateQuietly([](std::vector<Uuid>& told) { told.clear(); });
    }));
}

void ThumbnailCache::listChanged(const MemoryListChange& change) {
    if (change.isEverything) {
        entries_.clear();
        used_.clear();
        byteCount_ = 0;
    }
    for (const auto& item : change.removed) drop(item->id);
    std::unordered_set<Uuid> secret;
    for (const auto& [before, after] : change.replaced) {
        if (hasReadableOriginal(*before) && !hasReadableOriginal(*after)) secret.insert(after->id);
        if (before->filePath != after->filePath || secret.contains(after->id)) drop(after->id);
    }
    removeThumbnailsLater(std::move(secret), layout_, platform_);
}

void ThumbnailCache::tidyDisk() {
    writtenByteCount_ = 0;
    platform_.filesQueue.async(
        [layout = layout_, &files = platform_.files, &log = platform_.log, limits = limits_] {
            try {
                tidyThumbnails(layout, files, limits.diskByteCount);
            } catch (const Error& error) {
                log.line("NOOKERY thumbnail cleanup error: " + error.description());
            }
        });
}

}  // namespace nookery
