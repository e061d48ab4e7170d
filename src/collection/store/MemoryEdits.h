#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/store/LibraryWriter.h"
#include "retrieval/related/FilenameCleanup.h"

namespace nookery {

struct CleanupOutcome {
    std::size_t changedCount = 0;
    SaveFailure failure{};
};

/// Changes to memories that destroy nothing. The ids must exist. Main thread.
class MemoryEdits {
  public:
    explicit MemoryEdits(LibraryWriter& writer) : writer_(writer) {}

    /// Shown to the person even if it could not be saved, until the next start.
    SaveFailure replace(CrumbItem changed);
    /// Several at once, in one transaction. Nothing is changed, in memory either, when it fails.
    SaveFailure replaceAll(const CrumbItemList& changed);
    /// Gives memories their proposed titles, in one transaction: on failure none is changed. A
    /// memory that is gone, or whose title is no longer the old one, is left alone.
    CleanupOutcome cleanUpFilenames(const std::vector<CrumbFilenameCleanupCandidate>& candidates);

    // In memory at once; `saved` is called when it is durable or has failed.
    void setManualTags(const Uuid& id, const std::vector<std::string>& tags, Saved saved);
    void setManualTags(const TagsByID& tagsByID, Saved saved);  ///< one change
    void setBringBack(const Uuid& id, std::optional<Timestamp> date, Saved saved);
    void setBringBack(const BringBackByID& dates, Saved saved);  ///< one change
    void recordSelection(const Uuid& id, Saved saved);           ///< counts as a use

  private:
    LibraryWriter& writer_;
};

}  // namespace nookery
