#pragma once

#include "cli/WatchPart.h"

namespace nookery::cli {

/// The link with the paired phone; silent while none is paired.
std::unique_ptr<WatchPart> makeLinkPart(Session& session, CrumbStore& store, TellEvent tell);

}  // namespace nookery::cli
