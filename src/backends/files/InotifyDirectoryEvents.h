#pragma once

#include <memory>

#include "platform/DirectoryEvents.h"

namespace nookery {

/// The kernel's directory events; each watch has a thread of its own that only waits.
std::unique_ptr<DirectoryEvents> makeInotifyDirectoryEvents();

}  // namespace nookery
