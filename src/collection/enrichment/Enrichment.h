#pragma once

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "collection/enrichment/EnrichmentBacklog.h"
#include "collection/enrichment/EnrichmentResults.h"
#include "collection/enrichment/EnrichmentWorker.h"
#include "platform/work/Operation.h"

namespace nookery {

/// An original that could not be read, wholly or in part.
struct EnrichmentFailure {
    Uuid id;
    std::string message;
    bool isGivenUp = false;  ///< not tried again unless somebody asks
};

/// What working off what waits came to.
struct EnrichmentReport {
    int doneCount = 0;
    int pendingCount = 0;  ///< left, because the work was stopped or came to grief
};

/// The work that goes on behind a library: originals are read, texts are embedded. It knows what
/// waits, across starts, and does it while it is started. Main thread.
class Enrichment {
  public:
    /// `sidecar` is null when the library was opened for reading only, and nothing is done then.
    Enrichment(const Platform& platform, const LibraryLayout& layout, Library& library,
               Sidecar* sidecar);

    /// Memories whose work waits or is under way.
    const Published<int>& waitingCount() const { return worker_.waitingCount(); }

    /// Works until nothing waits, and on when something comes. Nothing of it runs before, but for
    /// `workOff`.
    void start();
    /// Gives up what is under way, which waits for the next start. Ends what `workOff` waits for.
    void pause();
    /// Also after pausing, until what was under way has ended. What is then still under way, and
    /// ends with the process, is taken for what ended it.
    bool isUnderWay() const { return *underWayCount() > 0; }
    const Published<int>& underWayCount() const { return worker_.underWayCount(); }

    /// Works, and ends when nothing waits any more; each caller has an operation of its own. A stop
    /// ends the waiting; what is under way is given up, and waited for, where nobody else wants it:
    /// neither another caller nor `start`. The operation is done with what it came to; it fails
    /// when something that was read could not be saved.
    OperationPointer<EnrichmentReport> workOff();

    /// Has memories enriched again, also those enriched or given up before.
    void request(const std::vector<Uuid>& ids);
    /// Throws DatabaseError.
    std::vector<EnrichmentFailure> failures() const;
    /// Why something that was read since the start of the work could not be saved; it waits for the
    /// next session.
    const SaveFailure& saveFailure() const { return results_.failure(); }

    // What the owner of the library tells.
    void resume(const EnrichmentBacklog& backlog);
    void added(const CrumbItemList& records);
    /// Their texts changed, so their vectors are of old ones.
    void edited(const std::vector<Uuid>& ids);
    void removed(const std::unordered_set<Uuid>& ids);
    void cleared() { worker_.clear(); }
    /// A removal has ended, and no memory is closed for changes any more.
    void removalEnded() { results_.storeHeld(); }

  private:
    struct WorkingOff;

    void startWorker();
    void pauseWorker();
    void lookAtWork(const std::shared_ptr<WorkingOff>& work);
    bool isWantedBeside(const WorkingOff& work) const;
    void end(const std::shared_ptr<WorkingOff>& work);
    std::vector<PendingWork> recordedWork() const;
    void renewContents(const std::vector<Uuid>& ids);
    template <typename Change>
    void changeSidecar(const Change& change);

    const Platform& platform_;
    LibraryLayout layout_;
    Library& library_;
    Sidecar* sidecar_;
    EnrichmentResults results_;
    EnrichmentWorker worker_;
    bool isStarted_ = false;
    std::vector<std::shared_ptr<WorkingOff>> workingOff_;  ///< those that have not ended
    CallbackGuard guard_;
};

}  // namespace nookery
