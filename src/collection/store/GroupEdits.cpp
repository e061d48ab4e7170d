#include "collection/store/GroupEdits.h"

#include <algorithm>

#include "platform/Clock.h"

namespace nookery {

SaveFailure GroupEdits::create(const std::string& name, Uuid* created) {
    if (SaveFailure refused = writer_.refusal()) return refused;
    const Timestamp now = contents_.platform.clock.now();
    const CrumbGroup group{Uuid::random(), name, now};
    if (created != nullptr) *created = group.id;
    SaveFailure failure = writer_.save("Crumb group create error: ", [&](SQLiteDatabase& database) {
        database.saveGroup(group, now);
    });
    contents_.groups.update([&](auto& groups) { groups.push_back(group); });
    writer_.recordChange();
    return failure;
}

SaveFailure GroupEdits::add(const CrumbGroup& group) {
    const bool isThere = std::any_of(contents_.groups->begin(), contents_.groups->end(),
                                     [&](const auto& each) { return each.id == group.id; });
    if (isThere) return {};
    if (SaveFailure failure =
            writer_.save("Crumb group create error: ", [&](SQLiteDatabase& database) {
                database.saveGroup(group, contents_.platform.clock.now());
            })) {
        return failure;
    }
    contents_.groups.update([&](auto& groups) {
        const auto place = std::upper_bound(
            groups.begin(), groups.end(), group,
            [](const auto& left, const auto& right) { return left.createdAt < right.createdAt; });
        groups.insert(place, group);
    });
    writer_.recordChange();
    return {};
}

SaveFailure GroupEdits::rename(const Uuid& id, const std::string& name) {
    if (SaveFailure refused = writer_.gate().refusalForGroup(id)) return refused;
    const auto renamed = std::find_if(contents_.groups->begin(), contents_.groups->end(),
                                      [&](const CrumbGroup& group) { return group.id == id; });
    if (renamed == contents_.groups->end()) return SaveFailure("There is no such group.");
    CrumbGroup group = *renamed;
    group.name = name;
    SaveFailure failure = writer_.save("Crumb group rename error: ", [&](SQLiteDatabase& database) {
        database.saveGroup(group, contents_.platform.clock.now());
    });
    contents_.groups.update([&](auto& groups) {
        for (CrumbGroup& candidate : groups) {
            if (candidate.id == id) candidate = group;
        }
    });
    if (contents_.retrieval) indexMembers(id);
    writer_.recordChange();
    return failure;
}

/// The group's name is among the words by which its memories are found.
void GroupEdits::indexMembers(const Uuid& id) {
    for (const auto& item : writer_.all()) {
        if (item->groupID == id) writer_.index(item);
    }
}

SaveFailure GroupEdits::assign(const std::vector<Uuid>& ids, std::optional<Uuid> groupID) {
    if (SaveFailure refused = writer_.refusal()) return refused;
    if (groupID) {
        if (SaveFailure refused = writer_.gate().refusalForGroup(*groupID)) return refused;
    }
    CrumbItemList changed;
    for (const Uuid& id : ids) {
        const auto item = writer_.find(id);
        if (item && item->groupID != groupID) changed.push_back(inGroup(*item, groupID));
    }
    return writer_.replace(changed);
}

}  // namespace nookery
