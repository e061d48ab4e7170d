#include "collection/store/LibraryWriter.h"

#include <algorithm>
#include <tuple>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"
#include "platform/work/Task.h"

namespace nookery {
namespace {

/// Indexed at one go.
constexpr std::size_t memoriesAtATime = 32;

constexpr std::string_view saveError = "Crumb SQLite save error: ";

std::vector<Uuid> idsOf(const CrumbItemList& records) {
    std::vector<Uuid> ids;
    ids.reserve(records.size());
    for (const auto& record : records) ids.push_back(record->id);
    return ids;
}

}  // namespace

/// Saved records on their way into the lists and the index.
struct LibraryWriter::Arrival {
    Arrival(Incoming saved, SaveFailure failure, CommitEnded whoAsked)
        : incoming(std::move(saved)), problem(std::move(failure)), ended(std::move(whoAsked)) {}

    void endWhenComplete() {
        if (isIndexed && !hasUnsavedTags) ended({true, problem});
    }

    Incoming incoming;
    SaveFailure problem;
    CommitEnded ended;
    std::size_t indexedCount = 0;
    bool isIndexed = false;
    bool hasUnsavedTags = false;
};

CrumbItemPointer inGroup(const CrumbItem& item, std::optional<Uuid> groupID) {
    CrumbItem moved = item;
    moved.groupID = groupID;
    return std::make_shared<const CrumbItem>(std::move(moved));
}

LibraryWriter::LibraryWriter(LibraryContents& contents, LibraryEvents& events)
    : contents_(contents),
      events_(events),
      gate_(contents.access == LibraryAccess::reading),
      saving_(contents.platform.log,
              {.kind = ProblemKind::save, .path = contents.layout.database()}),
      settingsSaving_(contents.platform.log, {.kind = ProblemKind::settings}) {}

SaveFailure LibraryWriter::failed(RecurringProblem& problem, std::string_view logPrefix,
                                  const Error& error) {
    contents_.platform.log.line(std::string(logPrefix) + error.description());
    problem.happened(error.description(), error.advice());
    return SaveFailure(error);
}

SaveFailure LibraryWriter::unavailable() const {
    contents_.platform.log.line("Crumb database unavailable.");
    return SaveFailure("Crumb database unavailable.");
}

SaveFailure LibraryWriter::save(std::string_view logPrefix,
                                const std::function<void(SQLiteDatabase&)>& change) {
    if (SaveFailure refused = refusal()) return refused;
    return saveForRemoval(logPrefix, change);
}

SaveFailure LibraryWriter::saveForRemoval(std::string_view logPrefix,
                                          const std::function<void(SQLiteDatabase&)>& change) {
    return run(logPrefix, [&](SQLiteDatabase& database) {
        change(database);
        database.makeDurable();
    });
}

SaveFailure LibraryWriter::run(std::string_view logPrefix,
                               const std::function<void(SQLiteDatabase&)>& change) {
    if (!contents_.database) return unavailable();
    try {
        change(*contents_.database);
        saving_.wentWell();
        return {};
    } catch (const Error& error) {
        return failed(saving_, logPrefix, error);
    }
}

SaveFailure LibraryWriter::makeDurable() {
    if (!contents_.database) return unavailable();
    try {
        contents_.database->makeDurable();
        return {};
    } catch (const Error& error) {
        return failed(saving_, saveError, error);
    }
}

void LibraryWriter::changeSidecar(const std::function<void(Sidecar&)>& change) {
    if (!contents_.sidecar) return;
    try {
        change(*contents_.sidecar);
    } catch (const Error& error) {
        contents_.platform.log.line("NOOKERY sidecar save error: " + error.description());
    }
}

bool LibraryWriter::annotate(const std::vector<Uuid>& ids, const AnnotationChange& change,
                             Saved saved) {
    SaveFailure refused = refusal();
    for (const Uuid& id : ids) {
        if (!refused) refused = gate_.refusalFor(id);
    }
    if (refused) {
        answerLater(std::move(refused), std::move(saved));
        return false;
    }
    change(contents_.annotations);
    saveAnnotations(std::move(saved));
    return true;
}

void LibraryWriter::annotateForRemoval(const AnnotationChange& change, Saved saved) {
    change(contents_.annotations);
    saveAnnotations(std::move(saved));
}

void LibraryWriter::answerLater(SaveFailure failure, Saved saved) {
    contents_.platform.mainQueue.async(guard_.guarded(
        [failure = std::move(failure), saved = std::move(saved)] { saved(failure); }));
}

/// One save at a time, so that a failed one never comes back over a newer one that was saved.
void LibraryWriter::saveAnnotations(Saved saved) {
    awaitingSave_.push_back(std::move(saved));
    if (!annotationsAreBeingSaved_) saveUnsavedAnnotations();
}

/// On failure the change stays in memory, and the next one that is saved takes it along.
void LibraryWriter::saveUnsavedAnnotations() {
    annotationsAreBeingSaved_ = true;
    const UnsavedAnnotations unsaved = contents_.annotations.takeUnsaved();
    Task::run(
        contents_.platform.filesQueue, contents_.platform.mainQueue, guard_,
        [&defaults = contents_.platform.defaults, unsaved] { nookery::save(defaults, unsaved); },
        [this, unsaved, told = std::exchange(awaitingSave_, {})](const Outcome<Nothing>& outcome) {
            annotationsAreBeingSaved_ = false;
            SaveFailure failure;
            if (const Failure* why = outcome.failure()) {
                contents_.annotations.keepUnsaved(unsaved);
                failure = failed(settingsSaving_,
                                 "NOOKERY settings save error: ", Error(why->message, why->advice));
            } else {
                settingsSaving_.wentWell();
            }
            if (!awaitingSave_.empty()) saveUnsavedAnnotations();
            for (const Saved& saved : told) saved(failure);
        });
}

void LibraryWriter::add(const std::vector<NewMemory>& memories, CommitEnded ended) {
    CrumbItemList records;
    TagsByID tagsByID;
    for (const NewMemory& memory : memories) {
        records.push_back(std::make_shared<const CrumbItem>(memory.item));
        if (!memory.tags.empty()) tagsByID[memory.item.id] = memory.tags;
    }
    addRecords(records, tagsByID, std::move(ended));
}

void LibraryWriter::addRecords(const CrumbItemList& records, const TagsByID& tagsByID,
                               CommitEnded ended) {
    Incoming incoming{.records = records, .save = [this, &records](SQLiteDatabase& database) {
                          database.saveItems(records, contents_.platform.clock.now());
                      }};
    if (!tagsByID.empty()) {
        incoming.annotate = [&tagsByID](MemoryAnnotations& annotations) {
            annotations.setManualTags(tagsByID);
        };
    }
    bringIn(std::move(incoming), std::move(ended));
}

void LibraryWriter::bringIn(Incoming incoming, CommitEnded ended) {
    bool isKept = false;
    const SaveFailure failure = save(saveError, [&](SQLiteDatabase& database) {
        incoming.save(database);
        isKept = true;
    });
    if (!isKept) return ended({false, failure});
    const AnnotationChange annotate = std::exchange(incoming.annotate, {});
    incoming.save = {};
    const auto arrival = std::make_shared<Arrival>(std::move(incoming), failure, std::move(ended));
    if (annotate) {
        arrival->hasUnsavedTags = true;
        annotate(contents_.annotations);
        saveAnnotations([arrival](const SaveFailure& tagFailure) {
            arrival->hasUnsavedTags = false;
            if (!arrival->problem) arrival->problem = tagFailure;
            arrival->endWhenComplete();
        });
    }
    contents_.memories.add(arrival->incoming.records);
    indexArrival(arrival);
}

void LibraryWriter::indexAgain(std::vector<Uuid> ids) {
    if (!contents_.retrieval) return recordChange();
    const std::size_t end = ids.size() - std::min(ids.size(), memoriesAtATime);
    for (std::size_t i = end; i < ids.size(); ++i) {
        if (const auto item = find(ids[i])) index(item);
    }
    ids.resize(end);
    if (ids.empty()) return recordChange();
    contents_.platform.mainQueue.async(
        guard_.guarded([this, ids = std::move(ids)]() mutable { indexAgain(std::move(ids)); }));
}

/// A few at a time, between whatever else the main thread has to do.
void LibraryWriter::indexArrival(const std::shared_ptr<Arrival>& arrival) {
    const CrumbItemList& records = arrival->incoming.records;
    const std::size_t end = std::min(arrival->indexedCount + memoriesAtATime, records.size());
    for (; arrival->indexedCount < end; ++arrival->indexedCount) {
        const CrumbItemPointer& record = records[arrival->indexedCount];
        // One that was edited or removed meanwhile has been seen to.
        if (find(record->id) != record) continue;
        index(record);
        const auto vector = arrival->incoming.vectors.find(record->id);
        if (vector != arrival->incoming.vectors.end()) setVector(record->id, vector->second);
    }
    if (arrival->indexedCount < records.size()) {
        contents_.platform.mainQueue.async(
            guard_.guarded([this, arrival] { indexArrival(arrival); }));
        return;
    }
    tellArrived(*arrival);
    recordChange();
    arrival->isIndexed = true;
    arrival->endWhenComplete();
}

void LibraryWriter::tellArrived(const Arrival& arrival) {
    CrumbItemList stillThere;
    for (const CrumbItemPointer& record : arrival.incoming.records) {
        if (CrumbItemPointer current = find(record->id)) stillThere.push_back(std::move(current));
    }
    if (!arrival.incoming.areBack) return events_.memoriesAdded(stillThere);
    std::unordered_set<Uuid> embedded;
    for (const auto& [id, vector] : arrival.incoming.vectors) embedded.insert(id);
    events_.memoriesReturned(stillThere, embedded);
}

SaveFailure LibraryWriter::refusalForAny(const CrumbItemList& records) const {
    for (const auto& record : records) {
        if (SaveFailure refused = gate_.refusalFor(record->id)) return refused;
    }
    return {};
}

SaveFailure LibraryWriter::replace(const CrumbItemList& changed, SaveReason reason) {
    if (SaveFailure refused = refusalForAny(changed)) return refused;
    SaveFailure failure = save(logPrefixOf(reason), [&](SQLiteDatabase& database) {
        database.saveItems(changed, contents_.platform.clock.now());
    });
    if (!failure || isShownUnsaved(reason)) publishEdited(changed);
    return failure;
}

void LibraryWriter::showUnsaved(const CrumbItemList& changed, SaveReason reason,
                                const SaveFailure& why) {
    if (refusalForAny(changed)) return;
    std::ignore = failed(saving_, logPrefixOf(reason), Error(why.message(), why.advice()));
    publishEdited(changed);
}

void LibraryWriter::publishEdited(const CrumbItemList& changed) {
    publish(changed);
    events_.memoriesEdited(idsOf(changed));
    recordChange();
}

void LibraryWriter::publish(const CrumbItemList& records) {
    contents_.memories.add(records);
    for (const auto& record : records) index(record);
}

void LibraryWriter::index(const CrumbItemPointer& item) {
    if (contents_.retrieval) contents_.retrieval->put(item, contents_.attributesOf(*item));
}

void LibraryWriter::setVector(const Uuid& id, std::span<const double> vector) {
    if (contents_.retrieval) contents_.retrieval->setVector(id, vector);
}

void LibraryWriter::recordChange() { contents_.revision.set(*contents_.revision + 1); }

SaveFailure LibraryWriter::saveReadings(const CrumbItemList& changed,
                                        const SQLiteDatabase::Embeddings& vectors,
                                        const std::string& embeddingModel) {
    if (SaveFailure refused = refusal()) return refused;
    SaveFailure failure = run(saveError, [&](SQLiteDatabase& database) {
        const Timestamp now = contents_.platform.clock.now();
        if (!changed.empty()) database.saveItems(changed, now);
        if (!vectors.empty()) database.saveEmbeddings(vectors, embeddingModel, now);
    });
    for (const auto& record : changed) {
        contents_.memories.replaceQuietly(record);
        index(record);
    }
    for (const auto& [id, vector] : vectors) setVector(id, vector);
    return failure;
}

void LibraryWriter::announceChanges() {
    contents_.memories.announce();
    recordChange();
}

}  // namespace nookery
