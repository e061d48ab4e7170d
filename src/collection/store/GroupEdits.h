#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/store/LibraryWriter.h"

namespace nookery {

/// Changes of groups that destroy nothing. Main thread.
class GroupEdits {
  public:
    GroupEdits(LibraryContents& contents, LibraryWriter& writer)
        : contents_(contents), writer_(writer) {}

    /// `created` receives the new group's id.
    SaveFailure create(const std::string& name, Uuid* created = nullptr);
    SaveFailure rename(const Uuid& id, const std::string& name);
    /// Puts memories into a group, or into none.
    SaveFailure assign(const std::vector<Uuid>& ids, std::optional<Uuid> groupID);

  private:
    LibraryContents& contents_;
    LibraryWriter& writer_;
};

}  // namespace nookery
