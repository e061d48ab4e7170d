#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/SaveFailure.h"
#include "workspace/history/Step.h"

namespace nookery {

/// What a value is to become.
struct Assignment {
    Change change;  ///< says which value
    Json value;
};

/// Where values lie that steps change. Main thread.
class ValueStore {
  public:
    virtual ~ValueStore() = default;

    virtual bool holds(ChangedThing thing) const = 0;
    /// As it is now; null for none, and nothing at all when what it belongs to is not there.
    virtual std::optional<Json> current(const Change& change) const = 0;
    /// How the value is called in a sentence: "the note of \"Lemon cake\"".
    virtual std::string nameOf(const Change& change) const = 0;
    /// Of a value that stands for a whole record, it matters whether it is there, and not what it
    /// says: that may have been filled in by itself.
    virtual bool isWhole(const Change&) const { return false; }
    /// What to write down of a whole record that is there or has just gone, so that it can be set
    /// again. `recorded` is what was written down so far.
    virtual Json remembered(const Change&, const Json& recorded) const { return recorded; }
    /// Why the value cannot be set, as a sentence; empty when it can.
    virtual std::string obstacle(const Change&, const Json&) const { return {}; }
    /// Sets the values, all of which this store holds. `saved` hears when all are durable; after a
    /// failure some may be set and others not.
    virtual void set(std::vector<Assignment> assignments, Saved saved) = 0;
};

/// Whether a value that is `current` now is the one that was written down.
inline bool isSameValue(const ValueStore& values, const Change& change, const Json& current,
                        const Json& recorded) {
    const bool isWholeThere = values.isWhole(change) && !current.is_null() && !recorded.is_null();
    return isWholeThere || current == recorded;
}

}  // namespace nookery
