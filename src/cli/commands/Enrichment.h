#pragma once

#include "cli/context/CommandContext.h"

namespace nookery::cli {

/// Begins nothing else and waits for the end of what is under way. When the person ends the program
/// meanwhile, the library takes that for what ended it: a reading that hangs is not begun for ever.
Coroutine<> endEnrichment(CommandContext& context, CrumbStore& store);

/// Does the background work that waits until nothing is left or the person interrupts. Throws Error
/// when something read could not be saved.
Coroutine<EnrichmentReport> finishEnrichment(CommandContext& context, CrumbStore& store);

}  // namespace nookery::cli
