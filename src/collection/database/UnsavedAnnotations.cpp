#include "collection/database/UnsavedAnnotations.h"

#include <fmt/format.h>

namespace nookery {
namespace {

/// A place that holds nothing, or the same already.
std::string placeForUnreadable(const UserDefaults& defaults, const std::string& key,
                               const std::string& value) {
    const std::string first = key + ".unreadable";
    std::string place = first;
    for (int i = 2; defaults.get(place).value_or(value) != value; ++i) {
        place = fmt::format("{}-{}", first, i);
    }
    return place;
}

}  // namespace

void UnsavedAnnotations::note(std::string_view key, const Uuid& id,
                              std::optional<std::string> json) {
    changes[std::string(key)].insert_or_assign(id.toString(), std::move(json));
}

void keepUnreadable(UserDefaults& defaults, const UnsavedAnnotations& unsaved) {
    for (const auto& [key, extent] : unsaved.unreadable) {
        const auto value = defaults.get(key);
        if (!value) continue;
        defaults.set(placeForUnreadable(defaults, key, *value), *value);
        if (extent == Unreadable::wholeValue) defaults.remove(key);
    }
}

void save(UserDefaults& defaults, const UnsavedAnnotations& unsaved) {
    keepUnreadable(defaults, unsaved);
    defaults.changeEntries(unsaved.changes);
}

}  // namespace nookery
