#pragma once

#include <optional>
#include <unordered_set>

#include "foundation/Uuid.h"
#include "records/SaveFailure.h"

namespace nookery {

/// What of an open library may be changed: nothing before it is open and while it is closed as a
/// whole, and no memory or group that is about to be removed. Main thread.
class ChangeGate {
  public:
    explicit ChangeGate(bool isForReading) : isForReading_(isForReading) {}

    void setOpen(bool isOpen) { isOpen_ = isOpen; }
    void closeMemories(const std::unordered_set<Uuid>& ids) {
        memories_.insert(ids.begin(), ids.end());
    }
    void reopenMemories(const std::unordered_set<Uuid>& ids) {
        for (const Uuid& id : ids) memories_.erase(id);
    }
    void closeGroup(const Uuid& id) { groups_.insert(id); }
    void reopenGroup(const Uuid& id) { groups_.erase(id); }
    void closeLibrary(bool isClosed) { isClosed_ = isClosed; }

    bool isClosed(const Uuid& memoryID) const { return isClosed_ || memories_.contains(memoryID); }

    /// Why nothing may be changed now; no failure when it may.
    SaveFailure refusal() const;
    /// Why this memory or group may not.
    SaveFailure refusalFor(const Uuid& memoryID) const;
    SaveFailure refusalForGroup(const Uuid& groupID) const;

  private:
    bool isForReading_;
    bool isOpen_ = false;
    bool isClosed_ = false;
    std::unordered_set<Uuid> memories_;
    std::unordered_set<Uuid> groups_;
};

}  // namespace nookery
