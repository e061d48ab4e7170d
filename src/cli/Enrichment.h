#pragma once

#include "cli/Session.h"

namespace nookery::cli {

/// What a run of the background work came to.
struct EnrichmentOutcome {
    int done = 0;
    int pending = 0;  ///< left, because the person interrupted
};

/// Does the background work that waits until nothing is left or the person interrupts.
EnrichmentOutcome finishEnrichment(Session& session, CrumbStore& store);

}  // namespace nookery::cli
