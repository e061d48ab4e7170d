#pragma once

#include <optional>

#include "cli/context/Ending.h"
#include "cli/resident/ResidentLookup.h"

namespace nookery::cli {

/// Goes on as a process of its own, without terminal, input or output; what it logs is in the file
/// `log`, begun anew. Answers none in that process. In the one that called answers once the new
/// process listens, or with its failure when it ended before. Must be called before the process has
/// a second thread. Throws Error when there can be no such process.
std::optional<Ending> continueInBackground(const ResidentLookup& resident, const Path& log);

}  // namespace nookery::cli
