#pragma once

#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "collection/database/SQLiteDatabase.h"
#include "records/CrumbItem.h"
#include "records/IntakeNotice.h"
#include "records/SaveFailure.h"

namespace nookery {

/// A new memory, ready to be saved. Its original, if it has one, lies under its final name in
/// `Items`, synced, and whoever put it there removes it again when the memory is not kept.
struct NewMemory {
    CrumbItem item;                 ///< complete
    std::vector<std::string> tags;  ///< manual tags to set
};

/// Told the ids of memories that are about to be saved together. With a failure they are not. Main
/// thread.
using BeforeCommit = std::function<SaveFailure(const std::vector<Uuid>& ids)>;

/// Tells about these memories, if there is anybody to be told.
inline SaveFailure tellBeforeCommit(const BeforeCommit& told,
                                    const std::vector<NewMemory>& memories) {
    if (!told) return {};
    std::vector<Uuid> ids;
    for (const NewMemory& memory : memories) ids.push_back(memory.item.id);
    return told(ids);
}

/// By which road memories come in.
enum class IntakeRoad { capture, localInbox, cloudInbox };

/// The library as those see it that bring something into it: its memories, and the one way to add
/// to them and to change them. Main thread.
class Library {
  public:
    /// What became of an addition.
    struct Committed {
        /// False: nothing of it is kept anywhere, and its originals may be removed again.
        bool isKept = false;
        /// Why nothing was kept; or, when it was, what else went wrong (tags, durability).
        SaveFailure problem;
    };
    using CommitEnded = std::function<void(const Committed&)>;

    virtual ~Library() = default;

    /// Null when there is no such memory.
    virtual CrumbItemPointer find(const Uuid& id) const = 0;
    /// Every memory, newest first. Throws std::logic_error while memories are read on demand.
    virtual const CrumbItemList& all() const = 0;
    /// A function that gives every memory, newest first, on any thread: as they are now, or, while
    /// memories are read on demand, as they are when it is called. It throws DatabaseError.
    using ReadAll = std::function<CrumbItemList()>;
    virtual ReadAll allReader() const = 0;
    /// Why nothing may be added now; no failure when it may.
    virtual SaveFailure refusal() const = 0;
    /// Whether a memory is about to be removed, and closed for changes until that has ended.
    virtual bool isClosed(const Uuid& id) const = 0;

    /// Saves the memories in one transaction, publishes and indexes them, and sets their tags.
    /// `ended` is called once all of it is durable, or has failed.
    virtual void add(const std::vector<NewMemory>& memories, CommitEnded ended) = 0;

    /// Saves what was read out of originals and made of their texts, and lets it be found. It
    /// survives the end of the process, and a power cut once `makeDurable` was called: what is lost
    /// with it can be made again. Nothing is announced before `announceChanges`.
    virtual SaveFailure saveReadings(const CrumbItemList& changed,
                                     const SQLiteDatabase::Embeddings& vectors,
                                     const std::string& embeddingModel) = 0;
    virtual SaveFailure makeDurable() = 0;
    /// Publishes the lists with the readings saved so far, as one change of the library.
    virtual void announceChanges() = 0;

    /// Tells the person what the latest source came to.
    virtual void announce(const IntakeNotice& notice) = 0;
    /// How many sources of a road are still under way.
    virtual void setIntakeCount(IntakeRoad road, int count) = 0;
};

}  // namespace nookery
