// Changes to single memories, annotations and groups.

#include <algorithm>

#include "collection/store/CrumbStore.h"
#include "collection/store/CrumbStoreParts.h"
#include "platform/Clock.h"
#include "platform/Log.h"

namespace nookery {
namespace {

std::vector<Uuid> idsOf(const CrumbItemList& records) {
    std::vector<Uuid> ids;
    ids.reserve(records.size());
    for (const auto& record : records) ids.push_back(record->id);
    return ids;
}

}  // namespace

CrumbItemPointer inGroup(const CrumbItem& item, std::optional<Uuid> groupID) {
    CrumbItem moved = item;
    moved.groupID = groupID;
    return std::make_shared<const CrumbItem>(std::move(moved));
}

SaveFailure CrumbStore::Parts::logged(std::string_view logPrefix, const std::string& description) {
    platform.log.line(std::string(logPrefix) + description);
    return description;
}

SaveFailure CrumbStore::Parts::refusal() const {
    if (access == LibraryAccess::reading) return "The library was opened for reading only.";
    if (destructiveOperationRuns) {
        return "NOOKERY is removing memories just now. Try again in a moment.";
    }
    return std::nullopt;
}

SaveFailure CrumbStore::Parts::save(std::string_view logPrefix,
                                    const std::function<void(SQLiteDatabase&)>& change) {
    return saveUnsynced(logPrefix, [&](SQLiteDatabase& target) {
        change(target);
        target.makeDurable();
    });
}

SaveFailure CrumbStore::Parts::saveUnsynced(std::string_view logPrefix,
                                            const std::function<void(SQLiteDatabase&)>& change) {
    if (auto refused = refusal()) return refused;
    if (!database) return logged("", "Crumb database unavailable.");
    try {
        change(*database);
        return std::nullopt;
    } catch (const Error& error) {
        return logged(logPrefix, error.description());
    }
}

SaveFailure CrumbStore::Parts::annotate(const std::function<void()>& change) {
    if (auto refused = refusal()) return refused;
    try {
        change();
        return std::nullopt;
    } catch (const Error& error) {
        return logged("NOOKERY settings save error: ", error.description());
    }
}

std::string CrumbStore::Parts::groupName(const std::optional<Uuid>& groupID) const {
    if (!groupID) return {};
    const auto found = std::find_if(groups->begin(), groups->end(),
                                    [&](const CrumbGroup& group) { return group.id == *groupID; });
    return found == groups->end() ? std::string() : found->name;
}

MemoryAttributes CrumbStore::Parts::attributesOf(const CrumbItem& item) const {
    return {.manualTags = annotations.manualTags(item.id),
            .people = {},
            .groupName = groupName(item.groupID)};
}

void CrumbStore::Parts::index(const CrumbItemPointer& item) {
    retrieval.put(item, attributesOf(*item));
}

void CrumbStore::Parts::recordChange() {
    if (recoverySnapshots) recoverySnapshots->recordChange();
    search.refresh();
}

void CrumbStore::Parts::publish(const CrumbItemList& records) {
    memories.add(records);
    for (const auto& record : records) index(record);
}

SaveFailure CrumbStore::Parts::saveChanged(const CrumbItemList& changed) {
    if (auto refused = refusal()) return refused;
    const auto failure = save("Crumb SQLite save error: ", [&](SQLiteDatabase& target) {
        target.saveItems(changed, platform.clock.now());
    });
    publish(changed);
    recordChange();
    return failure;
}

CaptureService::Committed CrumbStore::Parts::addRecords(const CrumbItemList& records,
                                                        const TagsByID& tagsByID) {
    bool isKept = false;
    auto failure = save("Crumb SQLite save error: ", [&](SQLiteDatabase& target) {
        target.saveItems(records, platform.clock.now());
        isKept = true;
    });
    if (!isKept) return {false, failure};
    if (!tagsByID.empty()) {
        const auto tagFailure = annotate([&] { annotations.setManualTags(tagsByID); });
        if (!failure) failure = tagFailure;
    }
    publish(records);
    if (capture) capture->remember(records);
    enrichNew(records);
    recordChange();
    return {true, failure};
}

CaptureService::Committed CrumbStore::Parts::commitCaptured(
    const std::vector<PreparedMemory>& prepared) {
    CrumbItemList records;
    TagsByID tagsByID;
    for (const PreparedMemory& memory : prepared) {
        records.push_back(std::make_shared<const CrumbItem>(memory.item));
        if (!memory.tags.empty()) tagsByID[memory.item.id] = memory.tags;
    }
    return addRecords(records, tagsByID);
}

void CrumbStore::capture(CaptureRequest request, std::stop_token stop,
                         CaptureService::Progress progress, CaptureService::Finished finished) {
    auto refused = parts_->refusal();
    if (!refused && !parts_->capture) refused = parts_->logged("", "Crumb database unavailable.");
    if (!refused) {
        parts_->capture->capture(std::move(request), std::move(stop), std::move(progress),
                                 std::move(finished));
        return;
    }
    finished({.failed = {{.source = "", .message = *refused}}});
}

SaveFailure CrumbStore::addRecords(const CrumbItemList& records, const TagsByID& tagsByID) {
    return parts_->addRecords(records, tagsByID).problem;
}

SaveFailure CrumbStore::replaceItem(CrumbItem changed) {
    const CrumbItemList list{std::make_shared<const CrumbItem>(std::move(changed))};
    const auto failure = parts_->saveChanged(list);
    parts_->renewEmbeddings(idsOf(list));
    return failure;
}

SaveFailure CrumbStore::replaceItems(const CrumbItemList& changed) {
    if (auto failure = parts_->save("Crumb SQLite save error: ", [&](SQLiteDatabase& target) {
            target.saveItems(changed, parts_->platform.clock.now());
        })) {
        return failure;
    }
    parts_->publish(changed);
    parts_->renewEmbeddings(idsOf(changed));
    parts_->recordChange();
    return std::nullopt;
}

SaveFailure CrumbStore::setManualTags(const Uuid& id, std::vector<std::string> tags) {
    const auto failure = parts_->annotate([&] { parts_->annotations.setManualTags(id, tags); });
    parts_->index(parts_->memories.find(id));
    parts_->recordChange();
    return failure;
}

SaveFailure CrumbStore::setBringBack(const Uuid& id, std::optional<Timestamp> date) {
    return parts_->annotate([&] { parts_->annotations.setBringBack(id, date); });
}

SaveFailure CrumbStore::recordSelection(const Uuid& id) {
    return parts_->annotate([&] { parts_->annotations.recordSelection(id); });
}

CleanupOutcome CrumbStore::cleanUpFilenames(
    const std::vector<CrumbFilenameCleanupCandidate>& candidates) {
    CrumbItemList changed;
    for (const auto& candidate : candidates) {
        const auto item = parts_->memories.find(candidate.id);
        if (!item || item->title != candidate.oldTitle) continue;
        CrumbItem renamed = *item;
        renamed.title = candidate.newTitle;
        changed.push_back(std::make_shared<const CrumbItem>(std::move(renamed)));
    }
    if (auto failure =
            parts_->save("Crumb filename cleanup save error: ", [&](SQLiteDatabase& target) {
                target.saveItems(changed, parts_->platform.clock.now());
            })) {
        return {.failure = failure};
    }
    parts_->publish(changed);
    parts_->recordChange();
    parts_->renewEmbeddings(idsOf(changed));
    return {.changedCount = changed.size()};
}

SaveFailure CrumbStore::createGroup(const std::string& name, Uuid* created) {
    if (auto refused = parts_->refusal()) return refused;
    const CrumbGroup group{Uuid::random(), name, parts_->platform.clock.now()};
    if (created != nullptr) *created = group.id;
    const auto failure = parts_->save("Crumb group create error: ", [&](SQLiteDatabase& target) {
        target.saveGroup(group, parts_->platform.clock.now());
    });
    parts_->groups.update([&](auto& groups) { groups.push_back(group); });
    parts_->recordChange();
    return failure;
}

SaveFailure CrumbStore::renameGroup(const Uuid& id, const std::string& name) {
    if (auto refused = parts_->refusal()) return refused;
    auto renamed = std::find_if(parts_->groups->begin(), parts_->groups->end(),
                                [&](const CrumbGroup& group) { return group.id == id; });
    if (renamed == parts_->groups->end()) return "There is no such group.";
    CrumbGroup group = *renamed;
    group.name = name;
    const auto failure = parts_->save("Crumb group rename error: ", [&](SQLiteDatabase& target) {
        target.saveGroup(group, parts_->platform.clock.now());
    });
    parts_->groups.update([&](auto& groups) {
        for (CrumbGroup& candidate : groups) {
            if (candidate.id == id) candidate = group;
        }
    });
    // The group's name is among the words by which its memories are found.
    for (const auto& item : parts_->memories.all().get()) {
        if (item->groupID == id) parts_->index(item);
    }
    parts_->recordChange();
    return failure;
}

SaveFailure CrumbStore::assignToGroup(const std::vector<Uuid>& ids, std::optional<Uuid> groupID) {
    if (auto refused = parts_->refusal()) return refused;
    CrumbItemList changed;
    for (const Uuid& id : ids) {
        const auto item = parts_->memories.find(id);
        if (item && item->groupID != groupID) changed.push_back(inGroup(*item, groupID));
    }
    return parts_->saveChanged(changed);
}

}  // namespace nookery
