#include "collection/store/MemoryRemover.h"

#include <algorithm>
#include <utility>

#include "collection/originals/MemoryRemoval.h"
#include "collection/originals/OriginalsToTrash.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/work/Task.h"
#include "records/SecureMemories.h"

namespace nookery {

struct MemoryRemover::Findings {
    std::vector<Path> originals;  ///< managed ones that nothing else uses
    std::vector<Uuid> derived;    ///< memories that must become secure, as their source goes
    bool someAreSecure = false;
};

/// What became of the originals.
struct MemoryRemover::Disposed {
    std::vector<Path> gone{};  ///< they are not in the library any more
    std::vector<TrashedOriginal> trashed{};
};

namespace {

const char* reasonFor(bool isGroup, bool isLibrary) {
    if (isGroup) return "before-delete-group";
    return isLibrary ? "before-clear-library" : "before-bulk-delete";
}

std::vector<Path> belowLibrary(const std::vector<Path>& originals, const LibraryLayout& layout) {
    std::vector<Path> relative;
    for (const Path& original : originals) {
        relative.push_back(original.lexically_relative(layout.library()));
    }
    return relative;
}

std::unordered_set<Uuid> idsOf(const CrumbItemList& all) {
    std::unordered_set<Uuid> ids;
    ids.reserve(all.size());
    for (const auto& item : all) ids.insert(item->id);
    return ids;
}

}  // namespace

MemoryRemover::MemoryRemover(LibraryContents& contents, LibraryWriter& writer,
                             LibraryEvents& events, CrumbRecoverySnapshots& snapshots)
    : contents_(contents), writer_(writer), events_(events), snapshots_(snapshots) {}

MemoryRemover::~MemoryRemover() {
    auto removals = std::move(waiting_);
    if (running_) removals.push_front(std::move(running_));
    for (const auto& removal : removals) {
        for (const Request& request : removal->requests) {
            request.operation->finish(Outcome<DestructiveOutcome>::stopped());
        }
    }
}

OperationPointer<DestructiveOutcome> MemoryRemover::deleteGroup(const Uuid& id,
                                                                RemovalRecordPointer record) {
    return enqueue(Kind::group, {.group = id, .record = std::move(record)});
}

OperationPointer<DestructiveOutcome> MemoryRemover::deleteMemories(const std::vector<Uuid>& ids,
                                                                   RemovalRecordPointer record) {
    Request request{.record = std::move(record)};
    for (const Uuid& id : ids) {
        if (contents_.memories.find(id) && !writer_.isClosed(id)) request.memories.insert(id);
    }
    return enqueue(Kind::memories, std::move(request));
}

OperationPointer<DestructiveOutcome> MemoryRemover::clearLibrary(RemovalRecordPointer record) {
    return enqueue(Kind::library, {.record = std::move(record)});
}

OperationPointer<DestructiveOutcome> MemoryRemover::enqueue(Kind kind, Request request) {
    WorkQueue& mainQueue = contents_.platform.mainQueue;
    SaveFailure refused = writer_.refusal();
    if (!refused && request.group) refused = writer_.gate().refusalForGroup(*request.group);
    if (!refused && !contents_.database) refused = writer_.unavailable();
    if (refused) {
        if (request.record) request.record->abandoned();
        return Operation<DestructiveOutcome>::ended(
            mainQueue,
            Outcome<DestructiveOutcome>::failed({refused.message(), refused.advice(), {}}));
    }
    request.operation = Operation<DestructiveOutcome>::create(mainQueue);
    const auto operation = request.operation;
    writer_.gate().closeMemories(request.memories);
    if (request.group) writer_.gate().closeGroup(*request.group);
    if (kind == Kind::library) writer_.gate().closeLibrary(true);
    const bool joins =
        kind == Kind::memories && !waiting_.empty() && waiting_.back()->kind == Kind::memories;
    if (!joins)
        waiting_.push_back(std::make_unique<Removal>(Removal{.kind = kind, .requests = {}}));
    waiting_.back()->requests.push_back(std::move(request));
    if (!running_) beginNext();
    return operation;
}

void MemoryRemover::beginNext() {
    if (waiting_.empty()) return;
    running_ = std::move(waiting_.front());
    waiting_.pop_front();
    if (!dropStopped()) return;
    // Whoever's removal ended just now. Where several go together, for the first who asked.
    const CallerScope scope(running_->requests.front().caller);
    takeSnapshot();
}

/// Opens what was closed, announces the change, and only then tells those who asked.
template <typename OutcomeFor>
void MemoryRemover::end(const OutcomeFor& outcomeFor) {
    for (const Request& request : running_->requests) reopen(request);
    events_.removalEnded();
    if (!running_->requests.empty()) writer_.recordChange();
    const auto ended = std::move(running_);
    beginNext();
    for (const Request& request : ended->requests) request.operation->finish(outcomeFor(request));
}

bool MemoryRemover::dropStopped() {
    const auto isStopped = [](const Request& request) {
        return request.operation->control().isStopRequested();
    };
    auto& requests = running_->requests;
    const auto stopped =
        std::stable_partition(requests.begin(), requests.end(), std::not_fn(isStopped));
    const std::vector<Request> dropped(stopped, requests.end());
    requests.erase(stopped, requests.end());
    for (const Request& request : dropped) {
        reopen(request);
        if (request.record) request.record->abandoned();
    }
    // From a fresh piece of work: whoever is told may do anything.
    contents_.platform.mainQueue.async([dropped] {
        for (const Request& request : dropped) {
            request.operation->finish(Outcome<DestructiveOutcome>::stopped());
        }
    });
    if (!requests.empty()) return true;
    end([](const Request&) { return Outcome<DestructiveOutcome>::stopped(); });
    return false;
}

void MemoryRemover::takeSnapshot() {
    const Kind kind = running_->kind;
    const auto snapshot =
        snapshots_.takeBeforeDestructive(reasonFor(kind == Kind::group, kind == Kind::library));
    // Where several go together, the others still want the snapshot when one is stopped.
    if (running_->requests.size() == 1) {
        snapshot->stopWith(running_->requests.front().operation->control().stopToken());
    }
    const auto tell = [this](const std::optional<OperationProgress>& progress) {
        if (!progress || !running_) return;
        for (const Request& request : running_->requests) {
            request.operation->control().report(*progress);
        }
    };
    running_->following = snapshot->progress().subscribe(tell);
    running_->snapshot = snapshot;
    snapshot->whenFinished(guard_.guarded([this](const Outcome<RecoveryPoint>& outcome) {
        running_->following.reset();
        if (!dropStopped()) return;
        if (outcome.isDone()) return prepare();
        fail(outcome.failure() ? *outcome.failure() : Failure{"It was stopped.", {}, {}});
    }));
}

/// Goes through the whole library, so it is done over the memories as they are now, elsewhere. What
/// is to be removed is closed for changes, and a new memory never takes a name that is in use, so
/// the answer stays true.
void MemoryRemover::prepare() {
    if (running_->kind == Kind::group) return keepRecords({}, 0);
    if (running_->kind == Kind::library) running_->memories = idsOf(writer_.all());
    for (const Request& request : running_->requests) {
        running_->memories.insert(request.memories.begin(), request.memories.end());
    }
    std::vector<Request> recorded;
    for (const Request& request : running_->requests) {
        const bool isRead = request.record && running_->kind == Kind::memories;
        if (isRead) recorded.push_back(request);
    }
    Task::run(
        contents_.platform.filesQueue, contents_.platform.mainQueue, guard_,
        [readAll = writer_.allReader(), removed = running_->memories, recorded,
         layout = contents_.layout, &files = contents_.platform.files] {
            const CrumbItemList all = readAll();
            Findings found;
            found.originals = originalsUsedOnlyBy(all, removed, layout, files);
            for (const auto& record : derivedFromSecure(all, removed)) {
                found.derived.push_back(record->id);
            }
            found.someAreSecure = std::any_of(all.begin(), all.end(), [&](const auto& item) {
                return removed.contains(item->id) && isSecure(*item);
            });
            if (recorded.empty()) return found;
            auto database = SQLiteDatabase::openForReading(layout);
            for (const Request& request : recorded) {
                request.record->read(database, request.memories,
                                     belowLibrary(found.originals, layout));
            }
            return found;
        },
        [this](const Outcome<Findings>& outcome) {
            if (outcome.failure()) return fail(*outcome.failure());
            // Where several go together, the findings are of all of them.
            if (running_->requests.size() == 1 && !dropStopped()) return;
            keepRecords(outcome.get(), 0);
        });
}

void MemoryRemover::keepRecords(const Findings& found, std::size_t next) {
    const auto& requests = running_->requests;
    while (next < requests.size() && !requests[next].record) ++next;
    if (next == requests.size()) return remove(found);
    const auto kept = [this, found, next](const SaveFailure& failure) {
        if (failure) return fail({failure.message(), failure.advice(), {}});
        keepRecords(found, next + 1);
    };
    requests[next].record->keep(running_->snapshot->outcome()->get().snapshotName(),
                                guard_.guarded(kept));
}

/// Records first that the originals are to go, so that the next start finishes what a killed
/// process did not.
void MemoryRemover::remove(const Findings& found) {
    if (!found.originals.empty()) {
        writer_.changeSidecar([&](Sidecar& sidecar) {
            const auto originals = belowLibrary(found.originals, contents_.layout);
            sidecar.addPendingOriginals(originals);
            if (running_->kind == Kind::memories) OriginalsToTrash(sidecar).add(originals);
            sidecar.makeDurable();
        });
    }
    if (SaveFailure failure = removeFromDatabase(found)) {
        return fail({failure.message(), failure.advice(), {}});
    }
    forgetRemoved();
    if (running_->kind == Kind::group) {
        tellRemoved({});
        return succeed([](const Request&) { return 1; });
    }
    const bool isAll = running_->kind == Kind::library;
    writer_.annotateForRemoval(
        [&](MemoryAnnotations& annotations) {
            isAll ? annotations.forgetAll() : annotations.forget(running_->memories);
        },
        // A failure is logged; no memory is there any more that the settings speak of.
        guard_.guarded([this, found](const SaveFailure&) { dispose(found); }));
}

SaveFailure MemoryRemover::removeFromDatabase(const Findings& found) {
    const RecoveryPoint& point = running_->snapshot->outcome()->get();
    switch (running_->kind) {
        case Kind::group:
            return writer_.saveForRemoval(
                "Crumb group delete error: ", [&](SQLiteDatabase& database) {
                    database.deleteGroup(*running_->requests.front().group, point);
                });
        case Kind::library:
            return writer_.saveForRemoval(
                "Crumb clear-library database error: ",
                [&](SQLiteDatabase& database) { database.clearLibrary(point); });
        case Kind::memories:
            break;
    }
    if (SaveFailure failure = secureDerived(found.derived)) return failure;
    return writer_.saveForRemoval(
        "Crumb bulk database delete error: ", [&](SQLiteDatabase& database) {
            database.deleteItems(std::vector(running_->memories.begin(), running_->memories.end()),
                                 point);
        });
}

SaveFailure MemoryRemover::secureDerived(const std::vector<Uuid>& derived) {
    CrumbItemList secured;
    for (const Uuid& id : derived) {
        const auto item = contents_.memories.find(id);
        if (!item || isSecure(*item)) continue;
        CrumbItem changed = *item;
        markSecure(changed);
        secured.push_back(std::make_shared<const CrumbItem>(std::move(changed)));
    }
    if (secured.empty()) return {};
    if (SaveFailure failure =
            writer_.saveForRemoval("Crumb SQLite save error: ", [&](SQLiteDatabase& database) {
                database.saveItems(secured, contents_.platform.clock.now());
            })) {
        return failure;
    }
    writer_.publish(secured);
    writer_.tellEdited(derived);
    return {};
}

void MemoryRemover::forgetRemoved() {
    if (running_->kind == Kind::group) {
        const Uuid group = *running_->requests.front().group;
        contents_.groups.update([&](auto& groups) {
            std::erase_if(groups, [&](const CrumbGroup& each) { return each.id == group; });
        });
        if (contents_.memories.isReadOnDemand()) return contents_.memories.forgetRead();
        CrumbItemList ungrouped;
        for (const auto& item : writer_.all()) {
            if (item->groupID == group) ungrouped.push_back(inGroup(*item, std::nullopt));
        }
        return writer_.publish(ungrouped);
    }
    forgetMemories();
}

void MemoryRemover::forgetMemories() {
    const bool isAll = running_->kind == Kind::library;
    const auto& removed = running_->memories;
    if (isAll) {
        contents_.memories.clear();
        contents_.groups.set({});
        contents_.richTextByID.set({});
        if (contents_.retrieval) contents_.retrieval->clear();
        events_.libraryCleared();
    } else {
        contents_.memories.remove(removed);
        if (contents_.retrieval) {
            for (const Uuid& id : removed) contents_.retrieval->remove(id);
        }
        contents_.richTextByID.update([&](RichTexts& bodies) {
            std::erase_if(bodies, [&](const auto& entry) { return removed.contains(entry.first); });
        });
        events_.memoriesRemoved(removed);
    }
}

void MemoryRemover::dispose(const Findings& found) {
    const OriginalDisposal disposal = running_->kind == Kind::library
                                          ? OriginalDisposal::removeForGood
                                          : OriginalDisposal::moveToTrash;
    std::vector<OperationControl> followers;
    for (const Request& request : running_->requests) {
        followers.push_back(request.operation->control());
    }
    Task::run(
        contents_.platform.filesQueue, contents_.platform.mainQueue, guard_,
        [platform = contents_.platform, layout = contents_.layout, disposal, followers, found,
         removed = running_->memories] {
            removeSecureValues(removed, found.someAreSecure, platform);
            Disposed disposed;
            for (std::size_t i = 0; i < found.originals.size(); ++i) {
                for (const auto& follower : followers) {
                    follower.report({"removing originals", i, found.originals.size()});
                }
                const auto place = disposeOfOriginal(found.originals[i], disposal, platform);
                if (!place) continue;
                disposed.trashed.push_back(
                    {found.originals[i].lexically_relative(layout.library()), *place});
            }
            removeThumbnails(removed, layout, platform);
            disposed.gone = originalsThatAreGone(found.originals, platform);
            return disposed;
        },
        [this, found](const Outcome<Disposed>& outcome) {
            if (outcome.isDone()) return finishDisposal(outcome.get());
            // What was not reached stays recorded, and the next start removes it.
            if (const Failure* failure = outcome.failure()) {
                contents_.platform.log.line("NOOKERY original cleanup error: " + failure->message);
            }
            finishDisposal({});
        });
}

/// The names become free again with the files; what could not be removed stays known, and the next
/// start tries again.
void MemoryRemover::finishDisposal(const Disposed& disposed) {
    writer_.changeSidecar([&](Sidecar& sidecar) {
        const auto gone = belowLibrary(disposed.gone, contents_.layout);
        sidecar.removePendingOriginals(gone);
        OriginalsToTrash(sidecar).remove(gone);
        std::vector<Path> facts;
        for (const Path& original : gone) {
            for (const auto& fact : sidecar.originalsAt(original))
                facts.push_back(fact.relativePath);
        }
        sidecar.forgetOriginals(facts);
        sidecar.forgetMemories(std::vector(running_->memories.begin(), running_->memories.end()));
    });
    tellRemoved(disposed.trashed);
    const bool isAll = running_->kind == Kind::library;
    succeed([isAll, all = running_->memories.size()](const Request& request) {
        return isAll ? all : request.memories.size();
    });
}

void MemoryRemover::tellRemoved(const std::vector<TrashedOriginal>& trashed) {
    for (const Request& request : running_->requests) {
        if (request.record) request.record->removed(trashed);
    }
}

void MemoryRemover::reopen(const Request& request) {
    writer_.gate().reopenMemories(request.memories);
    if (request.group) writer_.gate().reopenGroup(*request.group);
    if (running_ && running_->kind == Kind::library) writer_.gate().closeLibrary(false);
}

void MemoryRemover::succeed(const std::function<std::size_t(const Request&)>& countFor) {
    const auto snapshotName = running_->snapshot->outcome()->get().snapshotName();
    end([&](const Request& request) {
        return Outcome<DestructiveOutcome>::done({countFor(request), snapshotName});
    });
}

void MemoryRemover::fail(const Failure& failure) {
    for (const Request& request : running_->requests) {
        if (request.record) request.record->abandoned();
    }
    end([&](const Request&) { return Outcome<DestructiveOutcome>::failed(failure); });
}

}  // namespace nookery
