#pragma once

#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "foundation/Published.h"
#include "records/CrumbItem.h"

namespace nookery {

/// A whole list of records, ready to be taken over: made away from the main thread, since that
/// takes a while for a large library.
struct PreparedMemories {
    /// In any order; an id that stands twice keeps its last record only.
    explicit PreparedMemories(CrumbItemList all);

    CrumbItemList items;  ///< newest first
    std::unordered_map<Uuid, CrumbItemPointer> byID;
};

/// The library's records, newest first (equal times: by id), each id once. Lookup by id takes
/// constant time; a change of one record moves no other. Main thread.
class MemoryList {
  public:
    /// Each change is announced once.
    const Published<CrumbItemList>& all() const { return items_; }
    std::size_t size() const { return items_->size(); }

    /// Null when there is none.
    CrumbItemPointer find(const Uuid& id) const;

    /// Begins with these.
    void load(PreparedMemories prepared);
    /// Adds records with new ids; a record whose id is already there replaces that one. One pass
    /// over the list however many there are.
    void add(std::span<const CrumbItemPointer> added);
    /// The id must be there; `createdAt` must be unchanged, since it gives the place. Whoever looks
    /// it up finds the new record; the list is announced with the next change, or by `announce`.
    void replaceQuietly(CrumbItemPointer changed);
    void announce();
    void remove(const std::unordered_set<Uuid>& ids);
    void clear();

  private:
    Published<CrumbItemList> items_;
    std::unordered_map<Uuid, CrumbItemPointer> byID_;
};

/// The order of every list of memories.
bool isNewer(const CrumbItem& left, const CrumbItem& right);

}  // namespace nookery
