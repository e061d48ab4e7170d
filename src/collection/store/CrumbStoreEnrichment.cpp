// What waits for the background, and what it hands back to the store.

#include <utility>

#include "collection/store/CrumbStore.h"
#include "collection/store/CrumbStoreParts.h"
#include "platform/Clock.h"
#include "platform/TextEmbedder.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

constexpr std::string_view embeddingTask = "embedding";
constexpr std::string_view contentsTask = "contents";

/// An original that could not be read so often is not tried again until somebody asks.
constexpr int mostAttempts = 3;

/// Packages are folders and links have no original: there is nothing to read. What is kept secret
/// is not written out of its original into the index.
bool hasReadableOriginal(const CrumbItem& item) {
    return item.filePath && (item.kind == CrumbKind::image || item.kind == CrumbKind::file) &&
           !isSecure(item);
}

bool hasUnreadContents(const CrumbItem& item) {
    return hasReadableOriginal(item) && !isEnriched(item.searchableText);
}

/// The searchable text with the pieces that were read. What was taken in with the memory stays as
/// the record has it now.
CrumbItemPointer withContents(const CrumbItem& item, const ReadContents& contents) {
    ContentPieces pieces = parseContentPieces(contents.searchableText);
    pieces.captured = parseContentPieces(item.searchableText).captured;
    CrumbItem changed = item;
    changed.searchableText = toSearchableText(pieces);
    return std::make_shared<const CrumbItem>(std::move(changed));
}

}  // namespace

EnrichmentWorker::Owner CrumbStore::Parts::enrichmentOwner() {
    return {
        .find = [this](const Uuid& id) { return memories.find(id); },
        .begun =
            [this](std::span<const Uuid> ids) {
                withSidecar([&](Sidecar& target) { target.recordWorkBegun(ids, contentsTask); });
            },
        .givenUp =
            [this](std::span<const Uuid> ids) {
                withSidecar([&](Sidecar& target) { target.takeWorkBack(ids, contentsTask); });
            },
        .store = [this](const auto& results) { storeEnrichment(results); }};
}

void CrumbStore::Parts::enrichNew(const CrumbItemList& records) {
    std::vector<Uuid> unread;
    std::vector<Uuid> all;
    for (const auto& record : records) {
        all.push_back(record->id);
        if (hasUnreadContents(*record)) unread.push_back(record->id);
    }
    enrichment.add(unread, {.contents = true});
    if (platform.embedder != nullptr) enrichment.add(all, {.embedding = true});
}

void CrumbStore::Parts::renewEmbeddings(const std::vector<Uuid>& ids) {
    settleEnrichment();  // or what is noted here would be taken for done
    withSidecar([&](Sidecar& target) { target.addWork(ids, embeddingTask); });
    if (platform.embedder != nullptr) enrichment.add(ids, {.embedding = true});
}

void CrumbStore::Parts::renewContents(const std::vector<Uuid>& ids) {
    std::vector<Uuid> readable;
    for (const Uuid& id : ids) {
        const auto item = memories.find(id);
        if (item && hasReadableOriginal(*item)) readable.push_back(id);
    }
    withSidecar([&](Sidecar& target) {
        target.finishWork(readable, contentsTask);
        target.addWork(readable, contentsTask);
    });
    enrichment.add(readable, {.contents = true});
}

/// What no run has done yet, and what was asked for in earlier runs.
void CrumbStore::Parts::resumeEnrichment() {
    load("NOOKERY enrichment load error: ", [this] {
        const Unread unread = unreadContents();
        enrichment.add(unread.ids, {.contents = true});
        enrichment.add(unread.suspects, {.contents = true, .alone = true});
        if (platform.embedder == nullptr) return;
        enrichment.add(idsWithoutVectorOf(platform.embedder->modelName()), {.embedding = true});
        if (!sidecar) return;
        std::vector<Uuid> edited;
        for (const PendingWork& work : sidecar->pendingWork(embeddingTask)) {
            edited.push_back(work.memoryID);
        }
        enrichment.add(edited, {.embedding = true});
    });
}

std::vector<Uuid> CrumbStore::Parts::idsWithoutVectorOf(const std::string& model) {
    const auto current = database->itemsEmbeddedBy(model);
    std::vector<Uuid> ids;
    for (const auto& item : *memories.all()) {
        if (!current.contains(item->id)) ids.push_back(item->id);
    }
    return ids;
}

std::vector<PendingWork> CrumbStore::Parts::recordedContentsWork() {
    if (sidecar) return sidecar->pendingWork(contentsTask);
    if (!platform.files.status(layout.sidecar())) return {};
    return Sidecar::openForReading(layout.sidecar()).pendingWork(contentsTask);
}

CrumbStore::Parts::Unread CrumbStore::Parts::unreadContents() {
    Unread unread;
    std::unordered_set<Uuid> noted;
    for (const PendingWork& work : recordedContentsWork()) {
        noted.insert(work.memoryID);
        if (work.attempts >= mostAttempts || !memories.find(work.memoryID)) continue;
        auto& ids = work.lastFailure == workEndedTheProgram ? unread.suspects : unread.ids;
        ids.push_back(work.memoryID);
    }
    for (const auto& item : *memories.all()) {
        if (hasUnreadContents(*item) && !noted.contains(item->id)) unread.ids.push_back(item->id);
    }
    return unread;
}

/// What comes while memories are being removed waits for the end of that: their snapshot must not
/// change under it.
void CrumbStore::Parts::storeEnrichment(const std::vector<EnrichmentResult>& results) {
    if (destructiveOperationRuns) {
        heldResults.insert(heldResults.end(), results.begin(), results.end());
        return;
    }
    if (results.empty()) return;
    const CrumbItemList changed = recordsWithContents(results);
    SQLiteDatabase::Embeddings made;
    std::vector<Uuid> embedded;
    for (const EnrichmentResult& result : results) {
        if (!result.isEmbedded || result.isOutdated) continue;
        // A text without a meaning that the model knows is stored as an empty vector: done, too.
        embedded.push_back(result.id);
        made.emplace_back(result.id, result.vector ? std::vector<double>(result.vector->begin(),
                                                                         result.vector->end())
                                                   : std::vector<double>());
    }
    const auto failure = saveUnsynced("Crumb SQLite save error: ", [&](SQLiteDatabase& target) {
        if (!changed.empty()) target.saveItems(changed, platform.clock.now());
        if (made.empty()) return;
        target.saveEmbeddings(made, platform.embedder->modelName(), platform.clock.now());
    });
    for (const auto& record : changed) {
        memories.replace(record);
        index(record);
    }
    for (const auto& [id, vector] : made) retrieval.setVector(id, vector);
    if (failure) {
        enrichmentSaveFailure = failure;
        return takeContentsBack(results);
    }
    enrichedListIsStale |= !changed.empty();
    recordContentsRead(results);
    unsyncedVectors.insert(unsyncedVectors.end(), embedded.begin(), embedded.end());
    resultsAreUnsynced = true;
    settleSoon();
}

void CrumbStore::Parts::recordContentsRead(const std::vector<EnrichmentResult>& results) {
    std::vector<Uuid> read;
    withSidecar([&](Sidecar& target) {
        for (const EnrichmentResult& result : results) {
            if (!result.contents) continue;
            const auto& problem = result.contents->problem;
            if (!problem) read.push_back(result.id);
            if (problem) target.recordWorkFailure(result.id, contentsTask, *problem);
        }
        if (!read.empty()) target.finishWork(read, contentsTask);
    });
}

void CrumbStore::Parts::takeContentsBack(const std::vector<EnrichmentResult>& results) {
    std::vector<Uuid> ids;
    for (const EnrichmentResult& result : results) {
        if (result.contents) ids.push_back(result.id);
    }
    withSidecar([&](Sidecar& target) { target.takeWorkBack(ids, contentsTask); });
}

void CrumbStore::Parts::settleSoon() {
    if (std::exchange(settlingIsScheduled, true)) return;
    platform.mainQueue.after(WorkQueue::Delay(0.5), guard.guarded([this] {
        settlingIsScheduled = false;
        settleAndShowEnrichment();
    }));
}

void CrumbStore::Parts::settleEnrichment() {
    if (!std::exchange(resultsAreUnsynced, false)) return;
    const std::vector<Uuid> embedded = std::exchange(unsyncedVectors, {});
    try {
        database->makeDurable();
    } catch (const Error& error) {
        logged("Crumb SQLite save error: ", error.description());
        return;  // what it was is done again at the next start
    }
    withSidecar([&](Sidecar& target) { target.finishWork(embedded, embeddingTask); });
}

void CrumbStore::Parts::settleAndShowEnrichment() {
    settleEnrichment();
    if (std::exchange(enrichedListIsStale, false)) recordChange();
}

CrumbItemList CrumbStore::Parts::recordsWithContents(
    const std::vector<EnrichmentResult>& results) const {
    CrumbItemList changed;
    for (const EnrichmentResult& result : results) {
        const auto item = memories.find(result.id);
        // It may have become secret meanwhile.
        if (!item || !result.contents || !hasReadableOriginal(*item)) continue;
        auto record = withContents(*item, *result.contents);
        if (*record != *item) changed.push_back(std::move(record));
    }
    return changed;
}

std::vector<EnrichmentFailure> CrumbStore::enrichmentFailures() const {
    std::vector<EnrichmentFailure> failures;
    for (const PendingWork& work : parts_->recordedContentsWork()) {
        if (parts_->enrichment.isUnderWay(work.memoryID)) continue;
        if (work.lastFailure && parts_->memories.find(work.memoryID)) {
            failures.push_back({work.memoryID, *work.lastFailure, work.attempts >= mostAttempts});
        }
    }
    return failures;
}

void CrumbStore::requestEnrichment(const std::vector<Uuid>& ids) {
    parts_->renewContents(ids);
    parts_->renewEmbeddings(ids);
}

const Published<int>& CrumbStore::indexingCount() const {
    return parts_->enrichment.waitingCount();
}

void CrumbStore::startBackgroundWork() {
    // Without a place to note what is begun, an original that ends the program would do so for
    // ever.
    if (parts_->refusal() || !parts_->sidecar) return;
    parts_->enrichmentSaveFailure.reset();
    parts_->enrichment.start();
}

void CrumbStore::pauseBackgroundWork() {
    parts_->enrichment.pause();
    parts_->settleAndShowEnrichment();
}

const SaveFailure& CrumbStore::enrichmentSaveFailure() const {
    return parts_->enrichmentSaveFailure;
}

bool CrumbStore::isBackgroundWorkUnderWay() const { return parts_->enrichment.isAnyUnderWay(); }

}  // namespace nookery
