#include "retrieval/FileFamilies.h"

#include <algorithm>

#include "foundation/Text.h"
#include "retrieval/VersionFamily.h"

namespace nookery {

void FileFamilies::put(const CrumbItemPointer& item) {
    remove(item->id);
    if (item->filePath) unread_[item->id] = item;
}

void FileFamilies::remove(const Uuid& id) {
    unread_.erase(id);
    take(id);
}

void FileFamilies::clear() {
    unread_.clear();
    families_.clear();
    keys_.clear();
}

/// Takes a memory out of its family, if it is in one.
void FileFamilies::take(const Uuid& id) {
    const auto key = keys_.find(id);
    if (key == keys_.end()) return;
    const auto family = families_.find(key->second);
    std::erase_if(family->second, [&](const Member& member) { return member.item->id == id; });
    if (family->second.empty()) families_.erase(family);
    keys_.erase(key);
}

bool FileFamilies::readNames(std::size_t limit) {
    for (; limit > 0 && !unread_.empty(); --limit) {
        const auto [id, item] = *unread_.begin();
        unread_.erase(unread_.begin());
        const Path file(*item->filePath);
        const auto key = versionFamilyKey(file);
        if (!key) continue;
        families_[*key].push_back({item, lowerCased(toValidUtf8(file.extension().native()))});
        keys_[id] = *key;
    }
    return !unread_.empty();
}

CrumbItemList FileFamilies::membersLike(const Uuid& id, bool sameExtension) {
    readNames(unread_.size());
    const auto key = keys_.find(id);
    if (key == keys_.end()) return {};
    const Members& members = families_.at(key->second);
    const auto self = std::find_if(members.begin(), members.end(),
                                   [&](const Member& member) { return member.item->id == id; });
    CrumbItemList found;
    for (const Member& member : members) {
        if (member.item->id == id || (member.extension == self->extension) != sameExtension) {
            continue;
        }
        found.push_back(member.item);
    }
    return found;
}

CrumbItemList FileFamilies::versionsOf(const Uuid& id) {
    CrumbItemList versions = membersLike(id, true);
    std::sort(versions.begin(), versions.end(), [](const auto& a, const auto& b) {
        return a->createdAt != b->createdAt ? a->createdAt > b->createdAt : a->id < b->id;
    });
    return versions;
}

CrumbItemList FileFamilies::otherFormatsOf(const Uuid& id) { return membersLike(id, false); }

}  // namespace nookery
