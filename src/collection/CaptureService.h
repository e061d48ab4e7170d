#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <unordered_set>
#include <vector>

#include "collection/Capture.h"
#include "collection/IntakeNotice.h"
#include "collection/LibraryLayout.h"
#include "platform/Platform.h"
#include "platform/WorkQueue.h"

namespace nookery {

class Sidecar;

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
    using Failure = std::optional<std::string>;

    /// What the service asks of the library's owner.
    struct Owner {
        /// Saves the records in one transaction, with their tags, and makes them durable, indexed
        /// and published. On failure nothing of the batch is kept, and the reason is answered.
        std::function<Failure(const std::vector<PreparedMemory>&)> commit;
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

    // The owner tells what changed without the service's doing, so that duplicates are known.
    void remember(std::span<const CrumbItemPointer> added);
    void forget(const std::unordered_set<Uuid>& ids);
    void forgetAll();

  private:
    class Job;
    class Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace nookery
