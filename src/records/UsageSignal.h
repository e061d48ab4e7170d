#pragma once

#include <unordered_map>

#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

/// How often and when the user last selected a memory.
struct UsageSignal {
    int selectionCount = 0;
    Timestamp lastSelectedAt;

    bool operator==(const UsageSignal&) const = default;
};

using UsageSignals = std::unordered_map<Uuid, UsageSignal>;

}  // namespace nookery
