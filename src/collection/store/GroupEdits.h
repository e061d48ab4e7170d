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

    /// Why the group may not be changed now, nor memories be put into it.
    SaveFailure refusalFor(const Uuid& id) const { return writer_.gate().refusalForGroup(id); }
    /// `created` receives the new group's id.
    SaveFailure create(const std::string& name, Uuid* created = nullptr);
    /// Adds a group that has its id already, such as one that was deleted. Nothing is added when it
    /// fails, or when the group is there.
    SaveFailure add(const CrumbGroup& group);
    SaveFailure rename(const Uuid& id, const std::string& name);
    /// Puts memories into a group, or into none.
    SaveFailure assign(const std::vector<Uuid>& ids, std::optional<Uuid> groupID);

  private:
    void indexMembers(const Uuid& id);

    LibraryContents& contents_;
    LibraryWriter& writer_;
};

}  // namespace nookery
