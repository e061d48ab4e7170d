#pragma once

#include <memory>

#include "collection/store/CrumbStore.h"

namespace nookery::testing {

/// As a person's edit of one record: what is left when it is no step.
inline SaveFailure change(CrumbStore& store, const CrumbItem& changed) {
    return store.memoryEdits().replace({std::make_shared<const CrumbItem>(changed)},
                                       SaveReason::edit);
}

/// A new group. Throws Error.
inline Uuid addGroup(CrumbStore& store, const std::string& name) {
    const CrumbGroup group{Uuid::random(), name, Timestamp{1}};
    store.groupEdits().add(group, SaveReason::edit).throwIfFailed();
    return group.id;
}

inline SaveFailure assign(CrumbStore& store, const std::vector<Uuid>& ids, const Uuid& group) {
    CrumbItemList changed;
    for (const Uuid& id : ids) changed.push_back(inGroup(*store.item(id), group));
    return store.memoryEdits().replace(changed, SaveReason::edit);
}

}  // namespace nookery::testing
