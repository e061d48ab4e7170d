#include "collection/store/LibraryContents.h"

#include <algorithm>

namespace nookery {

std::string LibraryContents::groupName(const std::optional<Uuid>& groupID) const {
    if (!groupID) return {};
    const auto found = std::find_if(groups->begin(), groups->end(),
                                    [&](const CrumbGroup& group) { return group.id == *groupID; });
    return found == groups->end() ? std::string() : found->name;
}

MemoryAttributes LibraryContents::attributesOf(const CrumbItem& item) const {
    return {.manualTags = annotations.manualTags(item.id),
            .people = {},
            .groupName = groupName(item.groupID)};
}

}  // namespace nookery
