#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "collection/inbox/InboxScan.h"
#include "platform/ContentDigest.h"

namespace nookery {

/// An original that the library had already when the same content arrived.
struct HeldOriginal {
    Path place;
    Sha256Digest digest;
};

/// A file of an inbox whose content is in the library, committed and durable.
struct InboxTaken {
    Path path;
    FileStatus status;  ///< of the file that was read
    /// Must still hold its digest before the arrival may go.
    std::optional<HeldOriginal> known{};
};

struct InboxFailure {
    Path path;  ///< a file or package, or a whole unit
    std::string reason;
    bool mayRetry = true;  ///< false: only a change of what lies there can help
};

/// What became of units that were handed over. A file in neither list stays, too.
struct InboxOutcome {
    std::vector<InboxTaken> taken{};
    std::vector<InboxFailure> failures{};
};

/// Takes units of an inbox into the library and replies once, when all that can be taken is
/// committed. Called on the inbox queue; the reply may come from any thread.
using InboxHandler = std::function<void(std::vector<InboxUnit>, std::function<void(InboxOutcome)>)>;

}  // namespace nookery
