#include "collection/inbox/StabilityTracker.h"

#include <algorithm>

namespace nookery {

StabilityTracker::Readiness StabilityTracker::check(std::vector<InboxUnit> units) {
    Readiness readiness;
    readiness.round = ++round_;
    std::map<Path, Known> seen;
    for (InboxUnit& unit : units) {
        auto node = units_.extract(unit.path);
        const bool isUnderWay = !node.empty() && node.mapped().state == State::underWay;
        if (isUnderWay || (!node.empty() && unit.isUnchangedSince(node.mapped().unit))) {
            seen.insert(std::move(node));
            continue;
        }
        const Path path = unit.path;
        readiness.sawNews |= unit.hasSomethingToTake();
        seen.emplace(path, Known{.unit = std::move(unit), .round = round_});
    }
    // What is being taken may have been removed by ourselves before we were told.
    for (auto& [path, known] : units_) {
        if (known.state == State::underWay) seen.emplace(path, std::move(known));
    }
    units_ = std::move(seen);
    for (auto& [path, known] : units_) {
        if (known.unit.hasSomethingToTake() && isRipe(known)) {
            known.state = State::underWay;
            readiness.stable.push_back(known.unit);
        }
        if (known.state != State::underWay) addWaiting(known, readiness);
        if (known.state != State::settling || !known.unit.hasSomethingToTake()) continue;
        const bool isOldest = readiness.settlingRound == 0 || known.round < readiness.settlingRound;
        if (isOldest) readiness.settlingRound = known.round;
    }
    return readiness;
}

void StabilityTracker::addWaiting(const Known& known, Readiness& readiness) {
    const InboxUnit& unit = known.unit;
    readiness.folderWaits |= !unit.folders.empty();
    readiness.waiting.insert(readiness.waiting.end(), unit.waiting.begin(), unit.waiting.end());
    if (!unit.hasSomethingToTake()) return;
    readiness.waiting.push_back({unit.path, known.state == State::failed
                                                ? known.reason
                                                : "It has to hold still before it is taken in."});
}

void StabilityTracker::fail(const Path& unit, std::string reason, bool mayRetry) {
    const auto found = units_.find(unit);
    if (found == units_.end()) return;
    found->second.state = State::failed;
    found->second.mayRetry = mayRetry;
    found->second.reason = std::move(reason);
}

void StabilityTracker::retry() {
    for (auto& [path, known] : units_) {
        if (known.state != State::failed || !known.mayRetry) continue;
        known.state = State::settling;
        known.round = 0;
    }
}

bool StabilityTracker::hasUnderWay() const {
    return std::any_of(units_.begin(), units_.end(),
                       [](const auto& entry) { return entry.second.state == State::underWay; });
}

bool StabilityTracker::hasRetries() const {
    return std::any_of(units_.begin(), units_.end(), [](const auto& entry) {
        return entry.second.state == State::failed && entry.second.mayRetry;
    });
}

}  // namespace nookery
