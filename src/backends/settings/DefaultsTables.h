#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/SqliteConnection.h"
#include "platform/UserDefaults.h"

namespace nookery {

/// The tables of defaults.sqlite3; docs/formats/defaults.md describes them. A value lies in one row
/// as the bytes that were set, until an entry of it is changed: then each entry has a row.
///
/// Each call that reads sees one state. Changes are the caller's to put into a transaction. One
/// thread at a time. Throws DatabaseError, and what UserDefaults says of the same calls.
class DefaultsTables {
  public:
    /// Makes a new file, whole and durable but for its name.
    static void create(const Path& path,
                       const std::map<std::string, std::string, std::less<>>& values);
    /// Also throws DefaultsError naming the file when it is of a later version.
    static DefaultsTables open(const Path& path);

    std::optional<std::string> get(std::string_view key);
    void set(std::string_view key, std::string_view value);
    void remove(std::string_view key);
    std::vector<std::string> keys();
    std::vector<DefaultsEntry> entries(std::string_view key);
    std::vector<DefaultsEntry> entries(std::string_view key, const std::vector<std::string>& names);
    void changeEntries(std::string_view key, const EntryChanges& changes);

    SqliteConnection& connection() { return connection_; }

  private:
    explicit DefaultsTables(SqliteConnection connection) : connection_(std::move(connection)) {}

    void putApart(std::string_view key);

    SqliteConnection connection_;
};

/// Takes a value apart. Throws NoEntriesError, which names `key`.
std::vector<DefaultsEntry> entriesOf(std::string_view key, std::string_view value);
/// Those of the entries that have one of these names.
std::vector<DefaultsEntry> named(std::vector<DefaultsEntry> entries,
                                 const std::vector<std::string>& names);

}  // namespace nookery
