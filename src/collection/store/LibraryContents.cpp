#include "collection/store/LibraryContents.h"

#include <algorithm>

namespace nookery {

ItemQueries LibraryContents::itemQueries() {
    if (!database) throw Error("The library is not open.");
    return ItemQueries(*database);
}

std::function<CrumbItemList()> LibraryContents::allReader() const {
    if (!memories.isReadOnDemand()) return [all = *memories.all()] { return all; };
    return [place = layout] {
        return PreparedMemories(SQLiteDatabase::openForReading(place).loadItems()).items;
    };
}

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
