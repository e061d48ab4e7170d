// Destructive operations. Each waits for its recovery snapshot, and the database's removing methods
// take the recovery point as proof; there is no other way to them.

#include <algorithm>
#include <utility>

#include "collection/originals/MemoryRemoval.h"
#include "collection/store/CrumbStore.h"
#include "collection/store/CrumbStoreParts.h"
#include "platform/Log.h"
#include "records/SecureMemories.h"

namespace nookery {
namespace {

std::vector<Path> belowLibrary(const std::vector<Path>& originals, const LibraryLayout& layout) {
    std::vector<Path> relative;
    for (const Path& original : originals) {
        relative.push_back(original.lexically_relative(layout.library()));
    }
    return relative;
}

}  // namespace

void CrumbStore::Parts::destructively(
    std::string_view reason, Finished finished,
    std::function<DestructiveOutcome(const RecoveryPoint&)> operation) {
    if (auto refused = refusal()) return finished({.failure = refused});
    if (!database) return finished({.failure = logged("", "Crumb database unavailable.")});
    destructiveOperationRuns = true;
    recoverySnapshots->takeBeforeDestructive(
        std::string(reason),
        guard.guarded([this, finished = std::move(finished),
                       operation = std::move(operation)](const RecoveryPoint& point) {
            destructiveOperationRuns = false;
            snapshotProgress.set(std::nullopt);
            DestructiveOutcome outcome = operation(point);
            outcome.snapshotName = point.snapshotName();
            storeEnrichment(std::exchange(heldResults, {}));
            recordChange();
            finished(outcome);
        }),
        [this](const SnapshotProgress& progress) { snapshotProgress.set(progress); });
}

void CrumbStore::Parts::forget(const std::unordered_set<Uuid>& ids) {
    memories.remove(ids);
    for (const Uuid& id : ids) retrieval.remove(id);
    enrichment.remove(ids);
    if (capture) capture->forgetRemoved();
    annotate([&] { annotations.forget(ids); });
    selectedIDs.update([&](auto& selected) {
        std::erase_if(selected, [&](const Uuid& id) { return ids.contains(id); });
    });
    if (*selectedID && ids.contains(**selectedID)) selectedID.set(std::nullopt);
    richTextByID.update([&](auto& bodies) {
        std::erase_if(bodies, [&](const auto& entry) { return ids.contains(entry.first); });
    });
}

void CrumbStore::Parts::dispose(const std::unordered_set<Uuid>& ids,
                                const std::vector<Path>& originals, OriginalDisposal disposal) {
    disposeOfOriginals(originals, disposal, platform);
    removeThumbnails(ids, layout, platform);
    withSidecar([&](Sidecar& target) {
        target.removePendingOriginals(belowLibrary(originals, layout));
        target.forgetOriginals(factsOfRemoved(originals, target));
        target.forgetMemories(std::vector(ids.begin(), ids.end()));
    });
}

/// The names become free again with the files; what could not be removed stays known.
std::vector<Path> CrumbStore::Parts::factsOfRemoved(const std::vector<Path>& originals,
                                                    Sidecar& target) const {
    std::vector<Path> facts;
    for (const Path& original : originals) {
        if (platform.files.status(original)) continue;
        for (const auto& fact : target.originalsAt(original.lexically_relative(layout.library()))) {
            facts.push_back(fact.relativePath);
        }
    }
    return facts;
}

void CrumbStore::Parts::recordPendingRemoval(const std::vector<Path>& originals) {
    withSidecar([&](Sidecar& target) {
        target.addPendingOriginals(belowLibrary(originals, layout));
        target.makeDurable();
    });
}

void CrumbStore::deleteGroup(const Uuid& id, Finished finished) {
    parts_->destructively(
        "before-delete-group", std::move(finished), [this, id](const RecoveryPoint& point) {
            const auto failure =
                parts_->save("Crumb group delete error: ",
                             [&](SQLiteDatabase& target) { target.deleteGroup(id, point); });
            if (failure) return DestructiveOutcome{.failure = failure};
            parts_->groups.update([&](auto& groups) {
                std::erase_if(groups, [&](const CrumbGroup& group) { return group.id == id; });
            });
            CrumbItemList ungrouped;
            for (const auto& item : *parts_->memories.all()) {
                if (item->groupID == id) ungrouped.push_back(inGroup(*item, std::nullopt));
            }
            parts_->publish(ungrouped);
            return DestructiveOutcome{.count = 1};
        });
}

void CrumbStore::deleteMemories(const std::vector<Uuid>& ids, Finished finished) {
    parts_->destructively(
        "before-bulk-delete", std::move(finished), [this, ids](const RecoveryPoint& point) {
            std::unordered_set<Uuid> removed;
            for (const Uuid& id : ids) {
                if (parts_->memories.find(id)) removed.insert(id);
            }
            const auto originals =
                originalsUsedOnlyBy(*parts_->memories.all(), removed, parts_->layout);
            parts_->recordPendingRemoval(originals);
            const CrumbItemList derived = derivedFromSecure(*parts_->memories.all(), removed);
            if (!derived.empty()) {
                if (const auto failure = parts_->saveChanged(derived))
                    return DestructiveOutcome{.failure = failure};
            }
            const auto failure =
                parts_->save("Crumb bulk database delete error: ", [&](SQLiteDatabase& target) {
                    target.deleteItems(std::vector(removed.begin(), removed.end()), point);
                });
            if (failure) return DestructiveOutcome{.failure = failure};
            removeSecureValues(removed, *parts_->memories.all(), parts_->platform);
            parts_->forget(removed);
            parts_->dispose(removed, originals, OriginalDisposal::moveToTrash);
            return DestructiveOutcome{.count = removed.size()};
        });
}

void CrumbStore::clearLibrary(Finished finished) {
    parts_->destructively(
        "before-clear-library", std::move(finished), [this](const RecoveryPoint& point) {
            std::unordered_set<Uuid> removed;
            for (const auto& item : *parts_->memories.all()) removed.insert(item->id);
            const auto originals =
                originalsUsedOnlyBy(*parts_->memories.all(), removed, parts_->layout);
            parts_->recordPendingRemoval(originals);
            const auto failure =
                parts_->save("Crumb clear-library database error: ",
                             [&](SQLiteDatabase& target) { target.clearLibrary(point); });
            if (failure) return DestructiveOutcome{.failure = failure};
            removeSecureValues(removed, *parts_->memories.all(), parts_->platform);
            parts_->forgetEverything();
            parts_->dispose(removed, originals, OriginalDisposal::removeForGood);
            return DestructiveOutcome{.count = removed.size()};
        });
}

void CrumbStore::Parts::forgetEverything() {
    memories.clear();
    groups.set({});
    richTextByID.set({});
    retrieval.clear();
    enrichment.clear();
    if (capture) capture->forgetRemoved();
    annotate([&] { annotations.forgetAll(); });
    selectedIDs.set({});
    selectedID.set(std::nullopt);
    intakeNotice.set(std::nullopt);
}

}  // namespace nookery
