#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "collection/capture/Capture.h"
#include "collection/capture/CaptureBatch.h"
#include "collection/capture/IntakeIndex.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

class Sidecar;
struct CaptureReservations;

/// Takes files, folders, links and texts into the library. The slow work (walking, copying,
/// digesting, reading documents) runs on the capture queue in small batches; between them the main
/// thread decides what is new, and commits. Requests run one after the other. Main thread.
///
/// How an original gets in: it is copied and digested under a temporary name, compared with what is
/// known, its final name recorded in the sidecar, read back and compared, synced, renamed, the
/// folder synced, the record committed, the name taken off the sidecar's list. A process killed at
/// any of these steps leaves a whole memory, or remains that CaptureRecovery removes at the next
/// start.
class CaptureService {
  public:
    CaptureService(const Platform& platform, LibraryLayout layout, Sidecar& sidecar,
                   Library& library);
    /// Stops what is under way where it is whole.
    ~CaptureService();

    /// Takes the sources of a request in. The operation is done with a report in any case but a
    /// library that refuses all changes, which is a failure; after a stop nothing further is taken
    /// in, what was committed stays, and the report says that it was cancelled. Progress counts
    /// sources: those that are in the report, of those found so far, as folders are walked while
    /// files are taken.
    OperationPointer<CaptureReport> capture(CaptureRequest request);

    // The owner of the library tells what changed, so that duplicates are known. What was captured
    // here may be among what is added.
    void remember(std::span<const CrumbItemPointer> added);
    void forgetRemoved();

  private:
    struct Job;
    using Batch = std::shared_ptr<CaptureBatch>;

    // What happens to a batch: it is gathered, decided, settled, committed; decided again while
    // entries are open, else reported.
    void beginNext();
    void gather();
    void prepareIndex(const Batch& batch);
    void decide(const Batch& batch);
    void commit(const Batch& batch);
    void finishCommit(const Batch& batch, std::vector<NewMemory> ready,
                      const Library::Committed& committed);
    void closeRound(const Batch& batch);
    void finishBatch(const Batch& batch);
    void finishJob();
    void giveUp(const Batch& batch, const Failure& failure);

    void accept(CaptureBatch& batch);
    void acceptEntry(CaptureEntry& entry, CaptureReservations& reservations);
    bool isTaken(const Path& name, const CaptureReservations& reservations) const;
    std::optional<Uuid> knownTwin(const CaptureEntry& entry) const;
    std::optional<Uuid> knownOriginal(const OriginalCopy& original) const;
    void recordNames(const CaptureBatch& batch);
    void withdrawNames(CaptureBatch& batch);
    void findOtherVersions(CaptureBatch& batch);
    void markAdded(CaptureBatch& batch, const Library::Committed& committed);
    void tellProgress() const;
    void report(const CaptureEntry& entry);
    IntakeNotice noticeOf(const CaptureEntry& entry) const;
    std::string titleOf(const Uuid& id) const;
    template <typename Work, typename Reply>
    void onCaptureQueue(const Batch& batch, Work work, Reply reply);

    const Platform& platform_;
    LibraryLayout layout_;
    Sidecar& sidecar_;
    Library& library_;
    std::deque<std::unique_ptr<Job>> jobs_;  ///< the front one runs
    std::optional<IntakeIndex> index_;       ///< none until a link or file needs it
    bool indexIsBeingBuilt_ = false;
    CrumbItemList addedMeanwhile_;  ///< while the index is being built
    bool removedMeanwhile_ = false;
    CallbackGuard guard_;
};

}  // namespace nookery
