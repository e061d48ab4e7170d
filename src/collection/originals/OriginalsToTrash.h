#pragma once

#include <functional>
#include <span>
#include <vector>

#include "collection/database/Sidecar.h"
#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Of the originals that the sidecar lists as pending, those that a removal is to move to the
/// trash. They are noted before their memories go, so that one that was interrupted ends as the
/// person asked for it. Paths are relative to the library. The store's thread; throws
/// DatabaseError.
class OriginalsToTrash {
  public:
    explicit OriginalsToTrash(Sidecar& sidecar) : sidecar_(sidecar) {}

    std::vector<Path> all();
    void add(std::span<const Path> relativePaths);
    void remove(std::span<const Path> relativePaths);

  private:
    void set(const std::vector<Path>& paths);

    Sidecar& sidecar_;
};

/// Moves what an interrupted removal left to the trash, as far as no memory has it, and
/// forgets it. `readAll` gives every memory. What cannot be moved is logged, stays noted, and is
/// tried again at the next start.
void finishInterruptedRemovals(const Platform& platform, const LibraryLayout& layout,
                               Sidecar& sidecar, const std::function<CrumbItemList()>& readAll);

}  // namespace nookery
