#pragma once

#include <functional>

#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

class Sidecar;

/// Removes what a killed capture left behind, and finishes removals that a killed process did not.
/// To be called at a start. `readAll` must give every memory, and is called only when something was
/// left: an original that no memory names is taken for a remain if the sidecar says that its commit
/// was never reached. Failures are logged, and tried again at the next start. The thread that has
/// the sidecar.
void removeInterruptedCaptures(const Platform& platform, const LibraryLayout& layout,
                               Sidecar& sidecar, const std::function<CrumbItemList()>& readAll);

}  // namespace nookery
