#pragma once

#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

class Sidecar;

/// Removes what a killed capture left behind, and finishes removals that a killed process did not.
/// To be called at a start, after the memories were loaded, and only when all of them were: an
/// original that no memory names is taken for a remain if the sidecar says that its commit was
/// never reached. Failures are logged, and tried again at the next start. The thread that has the
/// sidecar.
void removeInterruptedCaptures(const Platform& platform, const LibraryLayout& layout,
                               Sidecar& sidecar, const CrumbItemList& all);

}  // namespace nookery
