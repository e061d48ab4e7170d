#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "collection/database/ItemQueries.h"
#include "records/CrumbItem.h"

namespace nookery {

struct LibraryContents;

/// The newest memories that meet a filter, and how many meet it.
struct NewestMemories {
    CrumbItemList items;
    std::size_t totalCount = 0;
};

/// Questions about an open library that have the same answers however much of it is loaded: what
/// is not in memory is read from the database. Throws DatabaseError, and Error when the library is
/// not open. Main thread.
class MemoryQueries {
  public:
    explicit MemoryQueries(LibraryContents& contents) : contents_(contents) {}

    std::size_t count() const;
    /// At most `limit`, newest first.
    NewestMemories newest(const ItemFilter& filter, std::size_t limit) const;

    /// Ids whose text begins with `prefix`, in ascending order, at most `limit` of them.
    std::vector<Uuid> idsBeginningWith(std::string_view prefix, std::size_t limit) const;
    /// These ids, and at least those next to each in ascending order: enough to tell how much of an
    /// id's text is its alone.
    std::vector<Uuid> idsAround(std::span<const Uuid> ids) const;

    /// How many memories are in each group; a group without any is left out.
    std::unordered_map<Uuid, std::size_t> groupSizes() const;
    /// Newest first.
    std::vector<Uuid> membersOf(const Uuid& groupID) const;

  private:
    bool areAllLoaded() const;
    ItemQueries inDatabase() const;

    LibraryContents& contents_;
};

}  // namespace nookery
