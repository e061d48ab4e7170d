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

SaveFailure MemoryEdits::replace(const CrumbItemList& changed, SaveReason reason) {
    return writer_.replace(changed, reason);
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
