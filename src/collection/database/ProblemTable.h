#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "collection/database/Sidecar.h"
#include "foundation/Timestamp.h"
#include "platform/Problem.h"

namespace nookery {

/// A problem with its history.
struct KnownProblem {
    std::string id;  ///< short, the same in every session as long as the problem lasts
    Problem problem;
    Timestamp firstSeen;
    Timestamp lastSeen;
    std::int64_t count = 1;
    bool isDismissed = false;  ///< the person has seen it; it has not happened since

    bool operator==(const KnownProblem&) const = default;
};

/// What went wrong in the background, in a table of its own in the sidecar, so that it is still
/// told of after a restart. It may be lost without harm. Throws DatabaseError. Main thread.
class ProblemTable {
  public:
    /// A sidecar that was opened for reading will do for `all`.
    explicit ProblemTable(Sidecar& sidecar) : connection_(sidecar.connection_) {}

    /// Those seen last come first. Empty for a sidecar of a program that did not keep them.
    std::vector<KnownProblem> all();
    /// In one transaction: saves some, in place of those with the same ids, and removes others.
    void update(std::span<const KnownProblem> saved, std::span<const std::string> removedIDs);

  private:
    SqliteConnection& connection_;
};

}  // namespace nookery
