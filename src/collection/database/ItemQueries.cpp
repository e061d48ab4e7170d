#include "collection/database/ItemQueries.h"

#include <algorithm>

#include "collection/database/ItemRows.h"

namespace nookery {
namespace {

/// SQLite's whole numbers are signed.
std::int64_t sqlLimit(std::size_t limit) {
    constexpr std::size_t most = std::size_t{1} << 62;
    return static_cast<std::int64_t>(std::min(limit, most));
}

std::optional<std::string> kindText(const ItemFilter& filter) {
    return filter.kind ? std::optional(std::string(rawValue(*filter.kind))) : std::nullopt;
}

}  // namespace

template <typename... Values>
std::vector<Uuid> ItemQueries::idsFor(CollectionStatement statement, const Values&... values) {
    std::vector<Uuid> ids;
    SqliteStatement rows(connection_, sqlOf(statement));
    rows.with(values...);
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) ids.push_back(*id);
    }
    return ids;
}

template <typename... Values>
std::size_t ItemQueries::countFor(CollectionStatement statement, const Values&... values) {
    SqliteStatement count(connection_, sqlOf(statement));
    count.with(values...).step();
    return static_cast<std::size_t>(count.integer(0));
}

void ItemQueries::holdState() { connection_.execute("BEGIN;"); }

bool ItemQueries::areAllMemories() {
    return countFor(CollectionStatement::hasRowOfUnknownKind) == 0 &&
           countFor(CollectionStatement::hasUnusualID) == 0;
}

CrumbItemPointer ItemQueries::item(const Uuid& id) {
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadItem));
    return rows.with(id).step() ? itemFromRow(rows) : nullptr;
}

std::size_t ItemQueries::count(const ItemFilter& filter) {
    if (filter.groupID) {
        return countFor(CollectionStatement::countItemsInGroup, filter.groupID, kindText(filter));
    }
    return filter.kind ? countFor(CollectionStatement::countItemsOfKind, kindText(filter))
                       : countFor(CollectionStatement::countItems);
}

CrumbItemList ItemQueries::newest(const ItemFilter& filter, std::size_t limit) {
    CrumbItemList items;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::loadNewestItems));
    rows.with(kindText(filter), filter.groupID, sqlLimit(limit));
    while (rows.step()) {
        if (auto item = itemFromRow(rows)) items.push_back(std::move(item));
    }
    return items;
}

std::vector<Uuid> ItemQueries::ids() { return idsFor(CollectionStatement::loadIDs); }

std::vector<Uuid> ItemQueries::idsFrom(std::string_view text, std::size_t limit) {
    return idsFor(CollectionStatement::loadIDsFrom, text, sqlLimit(limit));
}

std::optional<Uuid> ItemQueries::idBefore(const Uuid& id) {
    const auto found = idsFor(CollectionStatement::loadIDBefore, id);
    return found.empty() ? std::nullopt : std::optional(found.front());
}

std::optional<Uuid> ItemQueries::idAfter(const Uuid& id) {
    const auto found = idsFor(CollectionStatement::loadIDAfter, id);
    return found.empty() ? std::nullopt : std::optional(found.front());
}

std::unordered_map<Uuid, std::size_t> ItemQueries::groupSizes() {
    std::unordered_map<Uuid, std::size_t> sizes;
    SqliteStatement rows(connection_, sqlOf(CollectionStatement::countItemsByGroup));
    while (rows.step()) {
        if (const auto id = rows.uuid(0)) sizes[*id] += static_cast<std::size_t>(rows.integer(1));
    }
    return sizes;
}

std::vector<Uuid> ItemQueries::membersOf(const Uuid& groupID) {
    return idsFor(CollectionStatement::loadIDsInGroup, groupID);
}

}  // namespace nookery
