#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "collection/capture/CaptureBatch.h"
#include "collection/capture/CaptureJob.h"
#include "collection/capture/IntakeIndex.h"
#include "collection/capture/IntakeNotice.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "records/LibraryLayout.h"

namespace nookery {

class Sidecar;
struct CaptureReservations;

/// Takes files, folders, links and texts into the library. The slow work (walking, copying,
/// digesting, reading documents) runs on the capture queue in small batches; between them the main
/// thread decides what is new, and commits. Requests run one after the other. Main thread.
///
/// An original's way in: copied and digested under a temporary name, compared with what is known,
/// its final name noted in the sidecar, read back and compared, synced, renamed, the folder
/// synced, the record committed, the note taken away. A process killed anywhere on that way leaves
/// a whole memory, or remains that `recover` removes at the next start.
class CaptureService {
  public:
    /// What became of a commit.
    struct Committed {
        /// False: nothing of the batch is kept anywhere, and its originals may be removed again.
        bool isKept = false;
        /// Why nothing was kept; or, when it was, what else went wrong (tags, durability).
        std::optional<std::string> problem;
    };

    /// What the service asks of the library's owner.
    struct Owner {
        /// Saves the records in one transaction, with their tags, and makes them durable, indexed
        /// and published.
        std::function<Committed(const std::vector<PreparedMemory>&)> commit;
        /// Null when there is no such memory.
        std::function<CrumbItemPointer(const Uuid&)> find;
        /// Every memory of the library.
        std::function<const CrumbItemList&()> all;
        /// What the latest source came to.
        std::function<void(const IntakeNotice&)> announce;
        /// How many sources found so far are still under way.
        std::function<void(int)> importCountChanged;
    };
    using Progress = std::function<void(const CaptureProgress&)>;
    using Finished = std::function<void(const CaptureReport&)>;

    CaptureService(const Platform& platform, LibraryLayout layout, Sidecar& sidecar, Owner owner);
    /// Stops what is under way; no callback is called after this.
    ~CaptureService();

    /// Removes what a killed capture left behind. Call once at start, after the memories were
    /// loaded, and only when all of them were: an original that no memory names is taken for a
    /// remain if the sidecar says that its commit was never reached. Failures are logged, and tried
    /// again at the next start.
    void recover();

    /// `progress` and `finished` are called on the main thread, `finished` once and last. After
    /// stop is requested nothing further is taken in; what was committed stays.
    void capture(CaptureRequest request, std::stop_token stop, Progress progress,
                 Finished finished);

    // The owner tells what changed, so that duplicates are known. What was captured here may be
    // among what is added.
    void remember(std::span<const CrumbItemPointer> added);
    void forgetRemoved();

  private:
    using Batch = std::shared_ptr<CaptureBatch>;

    // The road of a batch: gathered, decided, settled, committed; back to decided while entries
    // are open, else reported.
    void gather();
    void decide(const Batch& batch);
    void commit(const Batch& batch);
    void closeRound(const Batch& batch);
    void finishBatch(const Batch& batch);
    void finishJob();

    void accept(CaptureBatch& batch);
    void acceptEntry(CaptureEntry& entry, CaptureReservations& reservations);
    bool isTaken(const Path& name, const CaptureReservations& reservations) const;
    std::optional<Uuid> knownTwin(const CaptureEntry& entry);
    std::optional<Uuid> knownOriginal(const OriginalCopy& original) const;
    void recordNames(const CaptureBatch& batch);
    void withdrawNames(CaptureBatch& batch);
    void findOtherVersions(CaptureBatch& batch);
    void markAdded(CaptureBatch& batch, const Committed& committed);
    void announceCount() const;
    void report(const CaptureEntry& entry);
    IntakeNotice noticeOf(const CaptureEntry& entry) const;
    std::string titleOf(const Uuid& id) const;
    IntakeIndex& index();
    void onCaptureQueue(std::function<void()> work, std::function<void()> reply);

    const Platform& platform_;
    LibraryLayout layout_;
    Sidecar& sidecar_;
    Owner owner_;
    std::deque<std::unique_ptr<CaptureJob>> jobs_;  ///< the front one runs
    std::optional<IntakeIndex> index_;
    CallbackGuard guard_;
};

}  // namespace nookery
