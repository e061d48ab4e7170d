#include "retrieval/related/FileFamilies.h"

#include <algorithm>

#include "foundation/Text.h"
#include "retrieval/related/VersionFamily.h"

namespace nookery {

void FileFamilies::put(const CrumbItemPointer& item) {
    remove(item->id);
    if (item->filePath) unread_[item->id] = item;
}

void FileFamilies::remove(const Uuid& id) {
    unread_.erase(id);
    removeFromFamily(id);
}

void FileFamilies::clear() {
    unread_.clear();
    families_.clear();
    names_.clear();
}

/// Removes a memory from its family, if it is in one.
void FileFamilies::removeFromFamily(const Uuid& id) {
    const auto name = names_.find(id);
    if (name == names_.end()) return;
    const auto family = families_.find(name->second.key);
    std::erase_if(family->second, [&](const Member& member) { return member.item->id == id; });
    if (family->second.empty()) families_.erase(family);
    names_.erase(name);
}

bool FileFamilies::readNames(std::size_t limit) {
    for (; limit > 0 && !unread_.empty(); --limit) {
        const auto [id, item] = *unread_.begin();
        unread_.erase(unread_.begin());
        const Path file(*item->filePath);
        const auto key = versionFamilyKey(file);
        if (!key) continue;
        const std::string extension = lowerCased(toValidUtf8(file.extension().native()));
        families_[*key].push_back({item, extension});
        names_[id] = {*key, extension};
    }
    return !unread_.empty();
}

CrumbItemList FileFamilies::membersLike(const Uuid& id, bool sameExtension) {
    readNames(unread_.size());
    const auto name = names_.find(id);
    if (name == names_.end()) return {};
    CrumbItemList found;
    for (const Member& member : families_.at(name->second.key)) {
        if ((member.extension == name->second.extension) != sameExtension) continue;
        if (member.item->id != id) found.push_back(member.item);
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

bool FileFamilies::areVersions(const Uuid& id, const Uuid& other) {
    readNames(unread_.size());
    const auto name = names_.find(id);
    const auto otherName = names_.find(other);
    return name != names_.end() && otherName != names_.end() && id != other &&
           name->second == otherName->second;
}

CrumbItemList FileFamilies::otherFormatsOf(const Uuid& id) { return membersLike(id, false); }

}  // namespace nookery
