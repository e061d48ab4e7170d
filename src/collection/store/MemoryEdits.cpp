#include "collection/store/MemoryEdits.h"

#include <utility>

namespace nookery {
namespace {

template <typename Map>
std::vector<Uuid> keysOf(const Map& map) {
    std::vector<Uuid> keys;
    keys.reserve(map.size());
    for (const auto& [key, value] : map) keys.push_back(key);
    return keys;
}

}  // namespace

SaveFailure MemoryEdits::replace(CrumbItem changed) {
    const Uuid id = changed.id;
    if (SaveFailure refused = writer_.gate().refusalFor(id)) return refused;
    SaveFailure failure = writer_.replace({std::make_shared<const CrumbItem>(std::move(changed))});
    writer_.tellEdited({id});
    return failure;
}

SaveFailure MemoryEdits::replaceAll(const CrumbItemList& changed) {
    return writer_.replaceIfSaved("Crumb SQLite save error: ", changed);
}

CleanupOutcome MemoryEdits::cleanUpFilenames(
    const std::vector<CrumbFilenameCleanupCandidate>& candidates) {
    CrumbItemList changed;
    for (const auto& candidate : candidates) {
        const auto item = writer_.find(candidate.id);
        if (!item || item->title != candidate.oldTitle) continue;
        CrumbItem renamed = *item;
        renamed.title = candidate.newTitle;
        changed.push_back(std::make_shared<const CrumbItem>(std::move(renamed)));
    }
    SaveFailure failure = writer_.replaceIfSaved("Crumb filename cleanup save error: ", changed);
    return {failure ? 0 : changed.size(), failure};
}

void MemoryEdits::setManualTags(const Uuid& id, const std::vector<std::string>& tags, Saved saved) {
    setManualTags({{id, tags}}, std::move(saved));
}

void MemoryEdits::setManualTags(const TagsByID& tagsByID, Saved saved) {
    const bool isChanged = writer_.annotate(
        keysOf(tagsByID),
        [&](MemoryAnnotations& annotations) { annotations.setManualTags(tagsByID); },
        std::move(saved));
    if (isChanged) writer_.indexAgain(keysOf(tagsByID));
}

void MemoryEdits::setBringBack(const Uuid& id, std::optional<Timestamp> date, Saved saved) {
    setBringBack({{id, date}}, std::move(saved));
}

void MemoryEdits::setBringBack(const BringBackByID& dates, Saved saved) {
    writer_.annotate(
        keysOf(dates), [&](MemoryAnnotations& annotations) { annotations.setBringBack(dates); },
        std::move(saved));
}

void MemoryEdits::recordSelection(const Uuid& id, Saved saved) {
    writer_.annotate(
        {id}, [&](MemoryAnnotations& annotations) { annotations.recordSelection(id); },
        std::move(saved));
}

}  // namespace nookery
