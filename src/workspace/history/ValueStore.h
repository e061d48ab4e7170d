#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/store/SaveReason.h"
#include "records/SaveFailure.h"
#include "workspace/history/Step.h"

namespace nookery {

/// What a value is to become.
struct Assignment {
    Change change;  ///< says which value
    Json value;
};

/// A step as it is put together. What is not to be written down stands apart from it.
struct StepDraft {
    Step step;
    std::vector<Assignment> unrecorded{};
    SaveReason reason = SaveReason::edit;

    bool isEmpty() const { return step.changes.empty() && unrecorded.empty(); }
    /// What the values are to become.
    std::vector<Assignment> assignments() const {
        std::vector<Assignment> all = unrecorded;
        for (const Change& change : step.changes) all.push_back({change, change.after});
        return all;
    }
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
    /// failure some may be set and others not, and a person's own change may be shown unsaved.
    virtual void set(std::vector<Assignment> assignments, SaveReason reason, Saved saved) = 0;
    /// The step could not be written down, so that nothing is saved: shows a person's own change
    /// all the same, where the store does so, until the next start.
    virtual void showUnsaved(const std::vector<Assignment>&, SaveReason, const SaveFailure&) {}
};

/// Whether a value that is `current` now is the one that was written down.
inline bool isSameValue(const ValueStore& values, const Change& change, const Json& current,
                        const Json& recorded) {
    const bool isWholeThere = values.isWhole(change) && !current.is_null() && !recorded.is_null();
    return isWholeThere || current == recorded;
}

}  // namespace nookery
