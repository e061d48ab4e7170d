#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "collection/inbox/InboxScan.h"

namespace nookery {

/// Remembers how the units of an inbox looked, and says which have held still long enough to be
/// taken. It knows no clock: its owner lets a round of looks ripen when the time has passed, so
/// that a wall clock that jumps changes nothing. Used by one thread.
class StabilityTracker {
  public:
    struct Readiness {
        std::vector<InboxUnit> stable;  ///< to be handed over now; under way from here on
        std::vector<InboxWaiting> waiting;
        bool folderWaits = false;  ///< what waits lies in a folder of the inbox
        /// Something was seen for the first time or has changed: let `round` ripen later.
        bool sawNews = false;
        std::uint64_t round = 0;
        /// The round in which was last seen to change what has held still longest, yet not long
        /// enough; 0 when nothing has to.
        std::uint64_t settlingRound = 0;
    };

    /// Compares with the last look. What is gone is forgotten.
    Readiness check(std::vector<InboxUnit> units);
    /// What was last seen to change in this round or earlier has now held still long enough.
    void ripen(std::uint64_t round) { ripeRound_ = std::max(ripeRound_, round); }

    /// A unit handed over was taken, or what is left of it is to be seen as new.
    void finish(const Path& unit) { units_.erase(unit); }
    /// A unit handed over could not be taken: it waits with this reason until it changes or, when
    /// trying again may help, until `retry`.
    void fail(const Path& unit, std::string reason, bool mayRetry);
    void retry();

    bool hasUnderWay() const;
    bool hasRetries() const;

  private:
    enum class State { settling, underWay, failed };
    struct Known {
        InboxUnit unit;
        std::uint64_t round = 0;
        State state = State::settling;
        bool mayRetry = false;
        std::string reason{};
    };

    bool isRipe(const Known& known) const {
        return known.state == State::settling && known.round <= ripeRound_;
    }
    static void addWaiting(const Known& known, Readiness& readiness);

    std::map<Path, Known> units_;
    std::uint64_t round_ = 0;
    std::uint64_t ripeRound_ = 0;
};

}  // namespace nookery
