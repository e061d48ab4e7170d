#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Error.h"

namespace nookery {

/// The settings cannot be read or changed. The description names where they lie.
class DefaultsError : public Error {
  public:
    using Error::Error;
};

/// A value is no JSON object, so that it has no entries.
class NoEntriesError : public DefaultsError {
  public:
    explicit NoEntriesError(std::string_view key);
};

/// One entry of a value that is a JSON object.
struct DefaultsEntry {
    std::string name;
    std::string json;  ///< its value, as JSON text

    bool operator==(const DefaultsEntry&) const = default;
};

/// What becomes of entries, by name: the entry's JSON text, or none to remove it.
using EntryChanges = std::map<std::string, std::optional<std::string>>;
/// The same for several values, by key.
using DefaultsChanges = std::map<std::string, EntryChanges, std::less<>>;

/// A per-user key-value store of small data under dotted keys ("Crumb.ManualTags.v1"). Values are
/// bytes. One that is a JSON object can also be read and changed entry by entry, at a cost that
/// does not grow with the other entries; only the first such change after a `set` takes the whole
/// value apart.
///
/// Any thread, for reading and for changing. What another process has changed is seen at the next
/// call. A change is durable when it returns; on failure it throws DefaultsError or FileError and
/// the old values stay. Only where the last sync alone fails, the new ones may be there.
class UserDefaults {
  public:
    virtual ~UserDefaults() = default;

    /// None when the key holds nothing. As it was set, or, once entries were changed, as compact
    /// JSON with the entries sorted by name. Throws when the store cannot be read: an unreadable
    /// store is never an empty one.
    virtual std::optional<std::string> get(std::string_view key) const = 0;
    /// Replaces the whole value.
    virtual void set(std::string_view key, std::string_view value) = 0;
    /// Nothing there is fine.
    virtual void remove(std::string_view key) = 0;
    /// All keys that hold something, sorted.
    virtual std::vector<std::string> keys() const = 0;

    /// The entries of a value, sorted by name; none when the key holds nothing. Throws
    /// NoEntriesError when the value is no JSON object.
    virtual std::vector<DefaultsEntry> entries(std::string_view key) const = 0;
    /// The same of those entries that have one of these names.
    virtual std::vector<DefaultsEntry> entries(std::string_view key,
                                               const std::vector<std::string>& names) const = 0;
    /// Changes entries of any number of values, all of it or nothing. A key that holds nothing
    /// begins as "{}". Throws NoEntriesError when one of the values is no JSON object, and
    /// JsonError when a text to be set is no JSON.
    virtual void changeEntries(const DefaultsChanges& changes) = 0;
};

}  // namespace nookery
