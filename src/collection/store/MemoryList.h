#pragma once

#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "foundation/Published.h"
#include "records/CrumbItem.h"

namespace nookery {

/// The library's records, newest first (equal times: by id), each id once. Lookup by id takes
/// constant time; a change of one record moves no other. Main thread.
class MemoryList {
  public:
    /// Each change is announced once.
    const Published<CrumbItemList>& all() const { return items_; }
    std::size_t size() const { return items_->size(); }

    /// Null when there is none.
    CrumbItemPointer find(const Uuid& id) const;

    /// Adds records with new ids; a record whose id is already there replaces that one. One pass
    /// over the list however many there are.
    void add(std::span<const CrumbItemPointer> added);
    /// The id must be there; `createdAt` must be unchanged, since it gives the place.
    void replace(CrumbItemPointer changed);
    void remove(const std::unordered_set<Uuid>& ids);
    void clear();

  private:
    Published<CrumbItemList> items_;
    std::unordered_map<Uuid, CrumbItemPointer> byID_;
};

/// The order of every list of memories.
bool isNewer(const CrumbItem& left, const CrumbItem& right);

}  // namespace nookery
