#pragma once

#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "collection/database/SQLiteDatabase.h"
#include "collection/originals/MemoryRemoval.h"
#include "records/SaveFailure.h"

namespace nookery {

/// Keeps what one removal takes away, so that it can be brought back. The remover calls `read`,
/// `keep`, and then one of the last two; none of them any more once the program ends.
class RemovalRecord {
  public:
    virtual ~RemovalRecord() = default;

    /// Reads the memories, which are closed for changes, over a connection that cannot write.
    /// `originals` are the managed ones, below the library, that go with them and perhaps with
    /// others. What it throws fails the removal, and nothing is removed. Not for a removal of a
    /// group or of everything. The files queue; nobody else has the object meanwhile.
    virtual void read(SQLiteDatabase& database, const std::unordered_set<Uuid>& memories,
                      const std::vector<Path>& originals) = 0;
    /// Makes durable what it knows, before anything is changed, and calls `kept`: with a failure
    /// nothing is removed. `snapshotName` is none when there is no snapshot. Main thread.
    virtual void keep(const std::optional<std::string>& snapshotName,
                      std::function<void(const SaveFailure&)> kept) = 0;
    /// It is all gone; these originals lie in the trash. Main thread.
    virtual void removed(const std::vector<TrashedOriginal>& trashed) = 0;
    /// Nothing was removed. Main thread.
    virtual void abandoned() = 0;
};

}  // namespace nookery
