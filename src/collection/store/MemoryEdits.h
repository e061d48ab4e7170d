#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/store/LibraryWriter.h"

namespace nookery {

/// Changes to memories that destroy nothing. The ids must exist. Main thread.
class MemoryEdits {
  public:
    explicit MemoryEdits(LibraryWriter& writer) : writer_(writer) {}

    /// As LibraryWriter::replace.
    SaveFailure replace(const CrumbItemList& changed, SaveReason reason);
    /// As LibraryWriter::showUnsaved.
    void showUnsaved(const CrumbItemList& changed, SaveReason reason, const SaveFailure& why) {
        writer_.showUnsaved(changed, reason, why);
    }

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
