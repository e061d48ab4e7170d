#pragma once

#include <functional>
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

/// A record in place of another with the same id.
struct ReplacedRecord {
    CrumbItemPointer before;
    CrumbItemPointer after;
};

/// What a change did to a list that somebody keeps a copy of, or counts. Each part is newest first;
/// an id stands once in all of it.
struct MemoryListChange {
    bool isEverything = false;  ///< another list altogether; the rest is empty then
    CrumbItemList inserted;
    CrumbItemList removed;  ///< as they were announced last
    /// A record whose `createdAt` differs from its predecessor's has another place.
    std::vector<ReplacedRecord> replaced;

    bool isEmpty() const {
        return !isEverything && inserted.empty() && removed.empty() && replaced.empty();
    }
};

/// Reads one record; null when there is none.
using ReadRecord = std::function<CrumbItemPointer(const Uuid&)>;

/// The library's records, newest first (equal times: by id), each id once. Lookup by id takes
/// constant time; a change of one record moves no other. Main thread.
///
/// A list that reads on demand holds only what was looked up or added. It answers `find` and tells
/// changes of what it holds; it is never taken for a list of all.
class MemoryList {
  public:
    /// Each change is announced once. Throws std::logic_error while records are read on demand.
    const Published<CrumbItemList>& all() const;
    /// Each change, announced when the list holds it, and before the list itself is; empty between
    /// two changes. Whoever hears of one must not make another.
    const Published<MemoryListChange>& changes() const { return changes_; }
    std::size_t size() const { return all()->size(); }
    bool isReadOnDemand() const { return read_ != nullptr; }

    /// Null when there is none. Throws what the reading throws.
    CrumbItemPointer find(const Uuid& id) const;

    /// Begins with these.
    void load(PreparedMemories prepared);
    /// Holds nothing, and reads each record when it is first looked up.
    void readOnDemand(ReadRecord read);
    /// These were read elsewhere: `find` gives them, and each is replaced by what it gives already.
    void takeRead(CrumbItemList& read);
    /// What was read on demand has changed: it is read anew when it is next looked up.
    void forgetRead();
    /// Adds records with new ids; a record whose id is already there replaces that one. One pass
    /// over the list however many there are.
    void add(std::span<const CrumbItemPointer> added);
    /// The id must be there; `createdAt` must be unchanged, since it gives the place. Whoever looks
    /// it up finds the new record; it is announced with the next change, or by `announce`.
    void replaceQuietly(CrumbItemPointer changed);
    /// Announces nothing when nothing was replaced quietly.
    void announce();
    void remove(const std::unordered_set<Uuid>& ids);
    void clear();

  private:
    CrumbItemPointer announcedRecord(const CrumbItemPointer& current) const;
    void replaceInPlace(const CrumbItemPointer& item);
    void takeOut(const std::unordered_set<Uuid>& ids);
    void insert(CrumbItemList inserted);
    void tell(MemoryListChange change);
    void tellEverything();
    void announceChange(MemoryListChange change);

    Published<CrumbItemList> items_;
    Published<MemoryListChange> changes_;
    ReadRecord read_;                                          ///< none when all are loaded
    mutable std::unordered_map<Uuid, CrumbItemPointer> byID_;  ///< all, or those that were read
    /// What stands in place of these is not announced yet.
    std::unordered_map<Uuid, CrumbItemPointer> quietlyReplaced_;
};

/// The order of every list of memories.
bool isNewer(const CrumbItem& left, const CrumbItem& right);

}  // namespace nookery
