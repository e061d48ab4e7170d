#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "collection/database/CollectionStatements.h"
#include "collection/database/SQLiteDatabase.h"

namespace nookery {

/// Which memories are meant: those that meet every condition that is set.
struct ItemFilter {
    std::optional<CrumbKind> kind{};
    std::optional<Uuid> groupID{};

    bool admits(const CrumbItem& item) const {
        return (!kind || item.kind == *kind) && (!groupID || item.groupID == groupID);
    }
};

/// Questions about the memories of the collection database that are answered without loading all of
/// them. The answers agree with `SQLiteDatabase::loadItems` where `areAllMemories` says so. Throws
/// DatabaseError. The database's thread; must not outlive it.
class ItemQueries {
  public:
    explicit ItemQueries(SQLiteDatabase& database) : connection_(database.connection_) {}

    /// From now on every answer is of the state that the first one sees, whatever another process
    /// writes meanwhile. On a connection that reads only.
    void holdState();
    /// Whether each row is a memory whose id is spelled as the program spells it. Otherwise rows
    /// are missing from lists, and some ids are not found by their text.
    bool areAllMemories();

    /// Null when there is none.
    CrumbItemPointer item(const Uuid& id);
    std::size_t count(const ItemFilter& filter = {});
    /// At most `limit`, newest first (equal times: by id).
    CrumbItemList newest(const ItemFilter& filter, std::size_t limit);

    /// In ascending order.
    std::vector<Uuid> ids();
    /// Ids from this text on, at most `limit` of them, in ascending order.
    std::vector<Uuid> idsFrom(std::string_view text, std::size_t limit);
    /// The last id before one, and the first after it.
    std::optional<Uuid> idBefore(const Uuid& id);
    std::optional<Uuid> idAfter(const Uuid& id);

    /// How many memories are in each group; a group without any is left out.
    std::unordered_map<Uuid, std::size_t> groupSizes();
    /// Newest first.
    std::vector<Uuid> membersOf(const Uuid& groupID);

  private:
    template <typename... Values>
    std::vector<Uuid> idsFor(CollectionStatement statement, const Values&... values);
    template <typename... Values>
    std::size_t countFor(CollectionStatement statement, const Values&... values);

    SqliteConnection& connection_;
};

}  // namespace nookery
