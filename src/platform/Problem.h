#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/FileSystem.h"
#include "foundation/Uuid.h"

namespace nookery {

/// What went wrong while nobody waited for an answer.
enum class ProblemKind {
    save,          ///< the library could not be written
    settings,      ///< tags, use or dates could not be written
    original,      ///< an original could not be read
    inbox,         ///< something in an inbox was not taken in, or the inbox cannot be had
    phonePublish,  ///< memories could not be published to the phone
    phoneEdits,    ///< the phone's edits could not be received
    snapshot,      ///< no recovery snapshot could be taken
    receipt,       ///< a receipt could not be read
    fieldReport,   ///< a report from the phone could not be taken in
    removal,       ///< something of removed memories is still there
    opening,       ///< the library, or a part of it, could not be opened
};

/// "save", "phone-publish" and so on: as stored and printed.
std::string_view rawValue(ProblemKind kind);
/// Exact match of a raw value; anything else yields none.
std::optional<ProblemKind> problemKindFromRawValue(std::string_view raw);

/// What a problem is about. The same kind and thing are the same problem, whatever its words.
struct ProblemSubject {
    ProblemKind kind = ProblemKind::save;
    Path path{};                     ///< of the file or folder; empty when it is about none
    std::optional<Uuid> memoryID{};  ///< of the memory; none when it is about none

    bool operator==(const ProblemSubject&) const = default;
};

/// All that may be wrong of one kind with what lies in one folder: what is named in `remaining` can
/// be, and nothing else.
struct ProblemSurvey {
    ProblemKind kind = ProblemKind::inbox;
    Path folder{};
    std::vector<Path> remaining{};

    /// Whether what was reported about the subject is well, or gone.
    bool clears(const ProblemSubject& subject) const;
};

/// Something a person can do something about.
struct Problem {
    ProblemSubject subject;
    std::string message;  ///< one line that names the thing
    std::string advice;   ///< what to do about it, as a sentence of its own; may be empty

    bool operator==(const Problem&) const = default;
};

}  // namespace nookery
