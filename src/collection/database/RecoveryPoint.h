#pragma once

#include <optional>
#include <string>
#include <utility>

namespace nookery {

/// Proof that a recovery snapshot was taken, or tried and its failure logged, just before a
/// destructive operation. Only CrumbRecoverySnapshots makes one, so that nothing can be destroyed
/// without asking it first.
class RecoveryPoint {
  public:
    RecoveryPoint(RecoveryPoint&&) = default;
    RecoveryPoint& operator=(RecoveryPoint&&) = default;

    /// None when the snapshot failed.
    const std::optional<std::string>& snapshotName() const { return snapshotName_; }

  private:
    friend class CrumbRecoverySnapshots;
    explicit RecoveryPoint(std::optional<std::string> snapshotName)
        : snapshotName_(std::move(snapshotName)) {}

    std::optional<std::string> snapshotName_;
};

}  // namespace nookery
