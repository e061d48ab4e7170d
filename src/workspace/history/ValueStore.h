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
    /// Sets the values, all of which this store holds. `saved` hears when all are durable; after a
    /// failure some may be set and others not.
    virtual void set(std::vector<Assignment> assignments, Saved saved) = 0;
};

}  // namespace nookery
