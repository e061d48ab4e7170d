#pragma once

#include <map>
#include <string>

#include "foundation/Uuid.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// How much of a stored value cannot be read.
enum class Unreadable { someEntries, wholeValue };

/// What memory says and the user defaults do not say yet: computed where the annotations live,
/// written wherever it suits.
struct UnsavedAnnotations {
    DefaultsChanges changes;
    /// Keys whose value is kept aside before it changes. Entries that cannot be read are among
    /// the changes, as removed.
    std::map<std::string, Unreadable, std::less<>> unreadable;

    /// Notes what a memory's entry becomes: none when it goes.
    void note(std::string_view key, const Uuid& id, std::optional<std::string> json);
};

/// Copies each unreadable value to its key with ".unreadable" added, and a number where that holds
/// something else.
void keepUnreadable(UserDefaults& defaults, const UnsavedAnnotations& unsaved);

/// Keeps what is unreadable, then makes the changes, all or none. Durable when it returns; throws
/// as UserDefaults does, and may be repeated then. Any thread, one call at a time.
void save(UserDefaults& defaults, const UnsavedAnnotations& unsaved);

}  // namespace nookery
