#include "collection/enrichment/EnrichmentResults.h"

#include <algorithm>
#include <utility>

#include "collection/database/RecognisedPages.h"
#include "collection/database/Sidecar.h"
#include "platform/Log.h"
#include "platform/Problem.h"
#include "platform/TextEmbedder.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {
namespace {

constexpr WorkQueue::Delay settlingInterval{0.5};
constexpr WorkQueue::Delay announcementInterval{120};

/// The searchable text with the pieces that were read. What was taken in with the memory stays as
/// the record has it now.
CrumbItemPointer withContents(const CrumbItem& item, const ReadContents& contents) {
    ContentPieces pieces = parseContentPieces(contents.searchableText);
    pieces.captured = parseContentPieces(item.searchableText).captured;
    CrumbItem changed = item;
    changed.searchableText = toSearchableText(pieces);
    return std::make_shared<const CrumbItem>(std::move(changed));
}

/// A text without a meaning that the model knows is stored as an empty vector: done, too.
SQLiteDatabase::Embeddings vectorsOf(const std::vector<EnrichmentResult>& results) {
    SQLiteDatabase::Embeddings vectors;
    for (const EnrichmentResult& result : results) {
        if (!result.isEmbedded || result.isOutdated) continue;
        std::vector<double> vector;
        if (result.vector) vector.assign(result.vector->begin(), result.vector->end());
        vectors.emplace_back(result.id, std::move(vector));
    }
    return vectors;
}

}  // namespace

bool hasReadableOriginal(const CrumbItem& item) {
    return item.filePath && (item.kind == CrumbKind::image || item.kind == CrumbKind::file) &&
           !isSecure(item);
}

EnrichmentResults::EnrichmentResults(const Platform& platform, Library& library, Sidecar* sidecar)
    : platform_(platform), library_(library), sidecar_(sidecar) {}

EnrichmentResults::~EnrichmentResults() {
    takeContentsBack(held_);
    settle();
}

/// What the sidecar holds can be made again, so a failure is only logged.
template <typename Change>
void EnrichmentResults::changeSidecar(const Change& change) {
    if (sidecar_ == nullptr) return;
    try {
        change(*sidecar_);
    } catch (const Error& error) {
        platform_.log.line("NOOKERY sidecar save error: " + error.description());
    }
}

void EnrichmentResults::recordBegun(std::span<const Uuid> ids) {
    changeSidecar([&](Sidecar& sidecar) { sidecar.recordWorkBegun(ids, contentsTask); });
}

void EnrichmentResults::recordGivenUp(std::span<const Uuid> ids) {
    changeSidecar([&](Sidecar& sidecar) { sidecar.takeWorkBack(ids, contentsTask); });
}

void EnrichmentResults::store(const std::vector<EnrichmentResult>& results) {
    std::vector<EnrichmentResult> open;
    for (const EnrichmentResult& result : results) {
        (library_.isClosed(result.id) ? held_ : open).push_back(result);
    }
    if (open.empty()) return;
    const CrumbItemList changed = recordsWithContents(open);
    const SQLiteDatabase::Embeddings vectors = vectorsOf(open);
    const std::string model = platform_.embedder == nullptr ? "" : platform_.embedder->modelName();
    if (SaveFailure failure = library_.saveReadings(changed, vectors, model)) {
        failure_ = std::move(failure);
        isUnannounced_ |= !changed.empty();
        return takeContentsBack(open);
    }
    recordContentsRead(open);
    for (const auto& [id, vector] : vectors) unsyncedVectors_.push_back(id);
    isUnsynced_ = true;
    isUnannounced_ |= !changed.empty();
    scheduleSettling();
    if (isUnannounced_) scheduleAnnouncement();
}

void EnrichmentResults::storeHeld() {
    auto results = std::exchange(held_, {});
    std::erase_if(results, [&](const auto& result) { return !library_.find(result.id); });
    store(results);
}

CrumbItemList EnrichmentResults::recordsWithContents(
    const std::vector<EnrichmentResult>& results) const {
    CrumbItemList changed;
    for (const EnrichmentResult& result : results) {
        const auto item = library_.find(result.id);
        // It may have become secret meanwhile.
        if (!item || !result.contents || !hasReadableOriginal(*item)) continue;
        auto record = withContents(*item, *result.contents);
        if (*record != *item) changed.push_back(std::move(record));
    }
    return changed;
}

/// This need not be synced before the records are: what is lost with a record is read again.
void EnrichmentResults::recordContentsRead(const std::vector<EnrichmentResult>& results) {
    for (const EnrichmentResult& result : results) {
        if (result.contents) tellProblem(result);
    }
    std::vector<Uuid> read;
    changeSidecar([&](Sidecar& sidecar) {
        for (const EnrichmentResult& result : results) {
            if (!result.contents) continue;
            const auto item = library_.find(result.id);
            // It may have become secret meanwhile.
            if (item && hasReadableOriginal(*item)) {
                RecognisedPages(sidecar).replace(result.id, result.contents->pages);
            }
            const auto& problem = result.contents->problem;
            if (!problem) read.push_back(result.id);
            if (problem) sidecar.recordWorkFailure(result.id, contentsTask, *problem);
        }
        if (!read.empty()) sidecar.finishWork(read, contentsTask);
    });
}

void EnrichmentResults::tellProblem(const EnrichmentResult& result) const {
    const auto item = library_.find(result.id);
    if (!item || !item->filePath) return;
    const Path path(*item->filePath);
    const ProblemSubject subject{ProblemKind::original, path, result.id};
    const auto& problem = result.contents->problem;
    if (!problem) return platform_.log.mended(subject);
    platform_.log.report(
        {subject, displayName(path.filename()) + " could not be read: " + *problem,
         "It is kept as it is. Open it to see whether it is whole, then have it read again."});
}

/// The results did not reach the database, by no fault of the originals.
void EnrichmentResults::takeContentsBack(const std::vector<EnrichmentResult>& results) {
    std::vector<Uuid> ids;
    for (const EnrichmentResult& result : results) {
        if (result.contents) ids.push_back(result.id);
    }
    recordGivenUp(ids);
}

void EnrichmentResults::workEnded() {
    announcement_.cancel();
    if (isUnsynced_ || isUnannounced_) scheduleSettling();
}

void EnrichmentResults::scheduleSettling() {
    if (settling_.isPending()) return;
    settling_ = platform_.mainQueue.after(settlingInterval, guard_.guarded([this] {
        settling_.cancel();
        settle();
        if (!announcement_.isPending()) settleAndAnnounce();
    }));
}

void EnrichmentResults::scheduleAnnouncement() {
    if (announcement_.isPending()) return;
    announcement_ = platform_.mainQueue.after(announcementInterval, guard_.guarded([this] {
        announcement_.cancel();
        settleAndAnnounce();
    }));
}

void EnrichmentResults::settle() {
    if (!std::exchange(isUnsynced_, false)) return;
    const std::vector<Uuid> embedded = std::exchange(unsyncedVectors_, {});
    // What could not be synced is done again at the next start.
    if (library_.makeDurable()) return;
    changeSidecar([&](Sidecar& sidecar) { sidecar.finishWork(embedded, embeddingTask); });
}

void EnrichmentResults::settleAndAnnounce() {
    settle();
    announcement_.cancel();
    if (std::exchange(isUnannounced_, false)) library_.announceChanges();
}

}  // namespace nookery
