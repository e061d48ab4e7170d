#include "collection/enrichment/EnrichmentBacklog.h"

#include "collection/enrichment/EnrichmentResults.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {

bool hasUnreadContents(const CrumbItem& item) {
    return hasReadableOriginal(item) && !isEnriched(item.searchableText);
}

EnrichmentBacklog findBacklog(const CrumbItemList& all, std::span<const PendingWork> work,
                              const std::unordered_set<Uuid>& embedded) {
    std::unordered_set<Uuid> present;
    present.reserve(all.size());
    for (const auto& item : all) present.insert(item->id);

    EnrichmentBacklog backlog;
    std::unordered_set<Uuid> recorded;
    std::unordered_set<Uuid> edited;
    for (const PendingWork& each : work) {
        if (each.task == embeddingTask) edited.insert(each.memoryID);
        if (each.task != contentsTask) continue;
        recorded.insert(each.memoryID);
        if (each.attempts >= mostReadingAttempts || !present.contains(each.memoryID)) continue;
        const bool endedTheProgram = each.lastFailure == workEndedTheProgram;
        (endedTheProgram ? backlog.suspects : backlog.unread).push_back(each.memoryID);
    }
    for (const auto& item : all) {
        if (hasUnreadContents(*item) && !recorded.contains(item->id)) {
            backlog.unread.push_back(item->id);
        }
        if (!embedded.contains(item->id) || edited.contains(item->id)) {
            backlog.withoutVector.push_back(item->id);
        }
    }
    return backlog;
}

}  // namespace nookery
