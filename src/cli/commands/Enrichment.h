#pragma once

#include "cli/context/CommandContext.h"

namespace nookery::cli {

/// Does the background work that waits until nothing is left or the person interrupts. Throws Error
/// when something read could not be saved.
Coroutine<EnrichmentReport> finishEnrichment(CommandContext& context, CrumbStore& store);

}  // namespace nookery::cli
