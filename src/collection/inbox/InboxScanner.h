#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "collection/inbox/InboxBatch.h"
#include "collection/inbox/StabilityTracker.h"
#include "platform/Platform.h"

namespace nookery {

/// Looks at one inbox folder, says what is to be handed over, and cleans out what was taken: a file
/// goes only when it still is the one that was read, and a folder only when it has become empty.
/// Used by one thread.
class InboxScanner {
  public:
    /// Why a package cannot be taken yet; none when all that it needs is here.
    using Readiness = std::function<std::optional<std::string>(const InboxPackage&)>;

    InboxScanner(const Platform& platform, std::string cleanupErrorPrefix, Readiness whyNotReady);

    /// Throws FileError when the folder cannot be listed.
    StabilityTracker::Readiness check(const Path& inbox);
    void ripen(std::uint64_t round) { stability_.ripen(round); }

    /// Cleans out what was taken of these units, and remembers what was not.
    void close(const std::vector<InboxUnit>& units, const InboxOutcome& outcome);

    /// Whether trying again may help; `retry` does what it can and makes the rest ripe.
    bool hasRetries() const { return stability_.hasRetries() || !uncleaned_.empty(); }
    void retry();

  private:
    using Taken = std::vector<InboxTaken>;

    void holdBackUnready(StabilityTracker::Readiness& readiness);
    /// Why something of it stays; none when all is cleaned.
    std::optional<InboxFailure> clean(const InboxUnit& unit, const Taken& taken);
    std::optional<InboxFailure> remove(const InboxTaken& taken);
    void removeEmptied(const InboxUnit& unit);
    void recordCleanupError(const Path& path, const std::string& reason);
    bool stillHolds(const HeldOriginal& original);
    void leave(const InboxUnit& unit, const std::string& reason, bool mayRetry);
    void finish(const Path& unit);
    void forgetWhatIsGone();
    void tellWhatRemains(const Path& inbox, const std::vector<InboxUnit>& units);

    Platform platform_;
    std::string cleanupErrorPrefix_;
    Readiness whyNotReady_;
    StabilityTracker stability_;
    struct Uncleaned {
        InboxUnit unit;
        Taken taken;
    };
    std::map<Path, Uncleaned> uncleaned_;  ///< by unit
    std::set<Path> reported_;              ///< units that stay and that somebody was told of
    bool hasTold_ = false;                 ///< what was there at the first look
};

}  // namespace nookery
