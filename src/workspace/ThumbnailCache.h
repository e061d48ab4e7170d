#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <stop_token>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "foundation/Published.h"
#include "platform/Picture.h"
#include "platform/Platform.h"
#include "platform/work/Outcome.h"
#include "platform/work/WorkQueue.h"
#include "records/LibraryLayout.h"

namespace nookery {

using PicturePointer = std::shared_ptr<const Picture>;
struct ThumbnailReading;

struct ThumbnailLimits {
    std::size_t memoryByteCount = std::size_t{64} << 20;  ///< of unpacked pictures
    std::uint64_t diskByteCount = std::uint64_t{512} << 20;
};

/// The pictures by which memories are shown in lists. They are made of the originals on the enrich
/// queue when a view wants them, and kept in memory and in the cache folder; what was not used for
/// longest goes first. The folder may be removed at any time: that costs the time to make them
/// again. A thumbnail belongs to the size and time of its original, so that a changed original has
/// another one; an original that cannot be shown is not tried again before it has changed. A
/// memory that is secret has none, and loses the one it had. Main thread. Must not outlive the
/// store.
class ThumbnailCache {
  public:
    ThumbnailCache(const Platform& platform, LibraryLayout layout, const CrumbStore& store,
                   ThumbnailLimits limits = {});
    ~ThumbnailCache();

    /// Has the thumbnails of these made ready, the first ones first: those that are seen, then
    /// those that scrolling will bring. What was wanted before and has not begun is given up. Where
    /// they do not all fit into memory, the last ones are left out. Those that are ready are
    /// looked at again from time to time, since an original may have changed.
    void want(const std::vector<Uuid>& ids);
    /// Null while there is none.
    PicturePointer find(const Uuid& id) const;
    /// The memories whose picture has just changed; empty between two changes. Announced at most
    /// once in a turn of the main queue.
    const Published<std::vector<Uuid>>& changed() const { return changed_; }

  private:
    struct Entry {
        PicturePointer picture;              ///< null when the original shows nothing
        std::optional<FileStatus> original;  ///< none when it could not be looked at
        Timestamp checkedAt;
        std::list<Uuid>::iterator use;  ///< its place in `used_`
    };

    void beginReading();
    void beginOne(const Uuid& id);
    void finish(const Uuid& id, Outcome<ThumbnailReading> outcome);
    void keep(const Uuid& id, ThumbnailReading reading);
    void makeRoom(const Uuid& newest);
    void drop(const Uuid& id);
    void tellChanged(const Uuid& id);
    void listChanged(const MemoryListChange& change);
    void tidyDisk();

    const Platform& platform_;
    LibraryLayout layout_;
    const CrumbStore& store_;
    ThumbnailLimits limits_;
    std::unordered_map<Uuid, Entry> entries_;
    std::list<Uuid> used_;  ///< of the entries, the latest first
    std::size_t byteCount_ = 0;
    std::deque<Uuid> waiting_;
    std::unordered_set<Uuid> wanted_;
    std::unordered_set<Uuid> underWay_;
    /// Written to the disk since it was tidied; none before the first time.
    std::optional<std::uint64_t> writtenByteCount_;
    std::vector<Uuid> untold_;
    Published<std::vector<Uuid>> changed_;
    Subscription listChanges_;
    std::stop_source stop_;
    CallbackGuard guard_;
};

}  // namespace nookery
