#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "collection/database/Library.h"
#include "collection/enrichment/ContentsReader.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"

namespace nookery {

class Sidecar;

/// The tasks by which the sidecar knows what waits for the background.
inline constexpr std::string_view contentsTask = "contents";
inline constexpr std::string_view embeddingTask = "embedding";

/// What came of reading an original, or of embedding a text.
struct EnrichmentResult {
    Uuid id{};
    std::optional<ReadContents> contents{};  ///< none when they were not to be read
    bool isEmbedded = false;
    /// None: the text has no meaning that the model knows, and is not to be tried again.
    std::optional<std::vector<float>> vector{};
    /// The memory changed meanwhile, or was removed: the vector is of an old text.
    bool isOutdated = false;
};

/// Whether there is an original that the background may read. Packages are folders and links have
/// none; what is kept secret is not written out of its original into the index.
bool hasReadableOriginal(const CrumbItem& item);

/// Takes over what the background made: saves it, lets it be found at once, and keeps the sidecar's
/// list of work true. Syncing each result would hold the main thread up, so those of half a second
/// are synced together. While work goes on, changes are announced two minutes apart: a snapshot
/// waits for ninety quiet seconds, and publishing for three. Main thread.
class EnrichmentResults {
  public:
    /// `sidecar` is null when the library was opened for reading only; nothing is kept then.
    EnrichmentResults(const Platform& platform, Library& library, Sidecar* sidecar);
    /// Syncs what was saved.
    ~EnrichmentResults();

    /// Records, in case the program does not live to see the end, that the originals of these are
    /// being read.
    void recordBegun(std::span<const Uuid> ids);
    /// These were begun and given up, by no fault of their own.
    void recordGivenUp(std::span<const Uuid> ids);
    /// Takes results over. Those of memories that are closed for changes wait for `storeHeld`.
    void store(const std::vector<EnrichmentResult>& results);
    /// The removal that closed memories has ended: what came of those that are still there is
    /// stored.
    void storeHeld();
    /// Nothing waits any more: what is not announced yet is announced soon.
    void workEnded();
    /// Syncs what was saved, so that it is taken off the list of waiting work.
    void settle();
    /// Settles, and announces what is not announced yet.
    void settleAndAnnounce();

    /// Why something that was read since `forgetFailure` could not be saved; it waits for the next
    /// session.
    const SaveFailure& failure() const { return failure_; }
    void forgetFailure() { failure_ = {}; }

  private:
    CrumbItemList recordsWithContents(const std::vector<EnrichmentResult>& results) const;
    void recordContentsRead(const std::vector<EnrichmentResult>& results);
    void tellProblem(const EnrichmentResult& result) const;
    void takeContentsBack(const std::vector<EnrichmentResult>& results);
    void scheduleSettling();
    void scheduleAnnouncement();
    template <typename Change>
    void changeSidecar(const Change& change);

    const Platform& platform_;
    Library& library_;
    Sidecar* sidecar_;
    std::vector<EnrichmentResult> held_;
    SaveFailure failure_;
    bool isUnsynced_ = false;
    std::vector<Uuid> unsyncedVectors_;  ///< of memories whose vectors are saved, but not synced
    bool isUnannounced_ = false;
    DelayedWork settling_;
    DelayedWork announcement_;
    CallbackGuard guard_;
};

}  // namespace nookery
