#include "collection/store/ChangeGate.h"

namespace nookery {

SaveFailure ChangeGate::refusal() const {
    if (isForReading_) return SaveFailure("The library was opened for reading only.");
    if (!isOpen_) return SaveFailure("The library is not open.");
    if (!isClosed_) return {};
    return SaveFailure("NOOKERY is removing memories just now.", "Try again in a moment.");
}

SaveFailure ChangeGate::refusalFor(const Uuid& memoryID) const {
    if (SaveFailure refused = refusal()) return refused;
    if (memories_.contains(memoryID)) return SaveFailure("This memory is being removed.");
    return {};
}

SaveFailure ChangeGate::refusalForGroup(const Uuid& groupID) const {
    if (SaveFailure refused = refusal()) return refused;
    if (groups_.contains(groupID)) return SaveFailure("This group is being removed.");
    return {};
}

}  // namespace nookery
