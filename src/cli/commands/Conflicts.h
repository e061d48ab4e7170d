#pragma once

#include <fmt/format.h>

#include "foundation/Error.h"
#include "workspace/MemoryPatch.h"

namespace nookery::cli {

/// A field that changed between the reading and the change was left alone: throws Error that says
/// so.
inline void refuseConflicts(const PatchOutcome& outcome) {
    if (outcome.conflicts.empty()) return;
    throw Error(fmt::format("The {} has changed meanwhile, and was left alone: try again.",
                            outcome.conflicts.front().field));
}

}  // namespace nookery::cli
