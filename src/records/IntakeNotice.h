#pragma once

#include <string>

#include "foundation/Uuid.h"

namespace nookery {

enum class IntakeNoticeKind { captured, duplicate, version };

/// What the last capture came to, in the words shown to the user.
struct IntakeNotice {
    IntakeNoticeKind kind = IntakeNoticeKind::captured;
    std::string title;   ///< "Already in NOOKERY", "Looks like another version", ...
    std::string detail;  ///< names the memory, and the other one where there is one
    Uuid memoryID;       ///< the memory captured, or the one that is already there

    bool operator==(const IntakeNotice&) const = default;
};

}  // namespace nookery
