#pragma once

#include <string>

#include "collection/store/LibraryWriter.h"

namespace nookery {

/// Changes of groups that destroy nothing. Main thread.
class GroupEdits {
  public:
    GroupEdits(LibraryContents& contents, LibraryWriter& writer)
        : contents_(contents), writer_(writer) {}

    /// Why the group may not be changed now, nor memories be put into it.
    SaveFailure refusalFor(const Uuid& id) const { return writer_.gate().refusalForGroup(id); }
    // What a failed save leaves is the reason's to decide.
    /// Does nothing when the group is there.
    SaveFailure add(const CrumbGroup& group, SaveReason reason);
    SaveFailure rename(const Uuid& id, const std::string& name, SaveReason reason);

  private:
    void indexMembers(const Uuid& id);

    LibraryContents& contents_;
    LibraryWriter& writer_;
};

}  // namespace nookery
