#include "workspace/TagRules.h"

#include <fmt/format.h>

#include <algorithm>

#include "collection/database/MemoryAnnotations.h"
#include "foundation/Text.h"
#include "workspace/InvalidInput.h"

namespace nookery {
namespace {

std::string plainTag(const std::string& typed) {
    const std::string valid = toValidUtf8(typed);
    std::string_view tag = trimmed(valid);
    if (tag.starts_with('#')) tag.remove_prefix(1);
    if (trimmed(tag).empty()) throw InvalidInput("A tag needs at least one character.");
    return std::string(tag);
}

std::vector<std::string> plain(const std::vector<std::string>& typed) {
    std::vector<std::string> tags;
    for (const std::string& tag : typed) tags.push_back(plainTag(tag));
    return tags;
}

}  // namespace

TagPatch plainTags(const TagPatch& typed) { return {plain(typed.added), plain(typed.removed)}; }

bool holdsTag(const std::vector<std::string>& tags, const std::string& tag) {
    return std::any_of(tags.begin(), tags.end(), [wanted = lowerCased(tag)](const auto& own) {
        return lowerCased(own) == wanted;
    });
}

std::vector<std::string> patchedTags(const std::vector<std::string>& manual,
                                     const TagPatch& patch) {
    std::vector<std::string> tags = manual;
    std::erase_if(tags, [&](const std::string& own) { return holdsTag(patch.removed, own); });
    tags.insert(tags.end(), patch.added.begin(), patch.added.end());
    return tidiedTags(tags);
}

std::string tagStepName(const TagPatch& patch, const std::string& whose, bool maySayTags) {
    const char* verb = patch.removed.empty() ? "Tag" : patch.added.empty() ? "Untag" : "Retag";
    std::string name = fmt::format("{} {}", verb, whose);
    if (!maySayTags) return name;
    for (const std::string& tag : patch.added.empty() ? patch.removed : patch.added) {
        name += " #" + tag;
    }
    return name;
}

}  // namespace nookery
