#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "foundation/FileSystem.h"
#include "records/CrumbItem.h"

namespace nookery {

/// What the library already has, by what a newcomer could share with it: the address of a link,
/// the version family of a file. Content digests are the sidecar's.
class IntakeIndex {
  public:
    explicit IntakeIndex(const CrumbItemList& all);

    void add(const CrumbItem& item);

    /// The memory of a link with this identity (see WebAddress).
    std::optional<Uuid> linkWithIdentity(const std::string& identity) const;
    /// The latest memory whose file looks like another version of `file`. None for machine-made
    /// names, which are all alike without being versions of anything.
    std::optional<Uuid> otherVersionOf(const Path& file) const;

  private:
    std::unordered_map<std::string, Uuid> links_;
    std::unordered_map<std::string, Uuid> families_;
};

}  // namespace nookery
