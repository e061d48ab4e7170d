#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "collection/database/RecoveryPoint.h"
#include "collection/store/LibraryContents.h"
#include "collection/store/LibraryEvents.h"
#include "collection/store/LibraryWriter.h"
#include "collection/store/RemovalRecord.h"
#include "platform/work/Caller.h"
#include "platform/work/Operation.h"

namespace nookery {

class CrumbRecoverySnapshots;
using RemovalRecordPointer = std::shared_ptr<RemovalRecord>;

/// What a destructive operation came to.
struct DestructiveOutcome {
    std::size_t count = 0;                      ///< memories or groups removed
    std::optional<std::string> snapshotName{};  ///< none when the snapshot failed (it is logged)
};

/// Removes memories and groups, each time behind a recovery snapshot that names the operation. From
/// the moment a removal is asked for until it has ended, what it removes is closed for changes, and
/// nothing else is. One removal runs at a time; deletions of memories that are asked for meanwhile
/// wait, and go together behind one snapshot. A record that comes with a request keeps what goes;
/// where it cannot, nothing does. What takes long (finding the originals, the trash,
/// the key store, thumbnails) runs on the files queue. A stop takes effect until the database is
/// changed. Main thread.
class MemoryRemover {
  public:
    MemoryRemover(LibraryContents& contents, LibraryWriter& writer, LibraryEvents& events,
                  CrumbRecoverySnapshots& snapshots);
    /// Gives up what is under way where it is whole.
    ~MemoryRemover();

    /// The memories leave the group and stay.
    OperationPointer<DestructiveOutcome> deleteGroup(const Uuid& id, RemovalRecordPointer = {});
    /// Managed originals that no other memory uses go to the trash. Ids that are not there, or are
    /// being removed already, do not count.
    OperationPointer<DestructiveOutcome> deleteMemories(const std::vector<Uuid>& ids,
                                                        RemovalRecordPointer = {});
    /// Everything goes, managed originals for good.
    OperationPointer<DestructiveOutcome> clearLibrary(RemovalRecordPointer = {});

  private:
    enum class Kind { group, memories, library };
    /// What one caller asked for.
    struct Request {
        std::unordered_set<Uuid> memories{};
        std::optional<Uuid> group{};
        OperationPointer<DestructiveOutcome> operation{};
        RemovalRecordPointer record{};  ///< may be none
        std::shared_ptr<const Caller> caller = CallerScope::current();
    };
    /// What goes together behind one snapshot.
    struct Removal {
        Kind kind;
        std::vector<Request> requests;
        std::unordered_set<Uuid> memories{};         ///< of all requests
        OperationPointer<RecoveryPoint> snapshot{};  ///< the proof, once it has ended
        Subscription following{};                    ///< of its progress
    };
    /// What was found out about the memories to be removed, away from the main thread.
    struct Findings;
    struct Disposed;

    OperationPointer<DestructiveOutcome> enqueue(Kind kind, Request request);
    void beginNext();
    void takeSnapshot();
    /// Lets go of the requests that were stopped; answers whether any is left.
    bool dropStopped();
    void prepare();
    /// Has the records from this request on keep what goes, one after the other.
    void keepRecords(const Findings& found, std::size_t next);
    void remove(const Findings& found);
    SaveFailure removeFromDatabase(const Findings& found);
    SaveFailure secureDerived(const std::vector<Uuid>& derived);
    void forgetRemoved();
    void forgetMemories();
    void dispose(const Findings& found);
    void finishDisposal(const Disposed& disposed);
    void tellRemoved(const std::vector<TrashedOriginal>& trashed);
    template <typename OutcomeFor>
    void end(const OutcomeFor& outcomeFor);
    void succeed(const std::function<std::size_t(const Request&)>& countFor);
    void fail(const Failure& failure);
    void reopen(const Request& request);

    LibraryContents& contents_;
    LibraryWriter& writer_;
    LibraryEvents& events_;
    CrumbRecoverySnapshots& snapshots_;
    std::deque<std::unique_ptr<Removal>> waiting_;
    std::unique_ptr<Removal> running_;
    CallbackGuard guard_;
};

}  // namespace nookery
