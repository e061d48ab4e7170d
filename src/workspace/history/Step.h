#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "collection/database/StepRecords.h"
#include "collection/safety/OriginalRecovery.h"
#include "foundation/Json.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

/// What a value belongs to that a step changed.
enum class ChangedThing { memory, tags, bringBack, group, receipt, receiptCategory, report };

/// One value before and after a step. Null stands for none: a group that is not there, a note
/// without a text.
struct Change {
    ChangedThing thing = ChangedThing::memory;
    std::string id;     ///< of what it belongs to
    std::string field;  ///< which of its values; empty for the whole
    Json before = nullptr;
    Json after = nullptr;
    /// What it was when the change that is under way began, where that is not `before`: the step
    /// was done once already, and takes a later value up.
    std::optional<Json> interim{};

    bool isSameValue(const Change& other) const {
        return thing == other.thing && id == other.id && field == other.field;
    }
};

enum class Membership { none, added, removed };

/// One deed of a person's, with what is needed to take it back and to do it again. Texts of
/// protected memories are never part of one.
struct Step {
    std::string name;
    Timestamp at;
    std::vector<Change> changes{};

    /// Memories that the deed added to the library or removed from it. While they are away, what
    /// they were is kept as contents of the step.
    Membership membership = Membership::none;
    std::vector<Uuid> memories{};
    std::map<Uuid, Sha256Digest> addedTexts{};  ///< what memories said when they were added
    std::vector<RemovedOriginal> originals{};   ///< of memories that are away
    /// What the deed did to these is not written down, and cannot be taken back.
    std::vector<Uuid> protectedMemories{};
    std::optional<std::string> snapshotName{};  ///< taken before memories were removed
    bool isTooLarge = false;                    ///< its contents are not kept

    /// It empties the library, and the history with it.
    bool clearsLibrary = false;
    /// The person agreed to what is lost by the undoing or redoing that is under way.
    bool hasConsent = false;
};

/// How many things a step is about.
std::int64_t changeCountOf(const Step& step);

StepRecords::Bytes encode(const Step& step);
/// Throws JsonError for bytes that `encode` did not make.
Step decodeStep(std::span<const std::byte> bytes);

}  // namespace nookery
