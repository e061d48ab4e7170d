#pragma once

#include <span>
#include <unordered_set>
#include <vector>

#include "collection/database/Sidecar.h"
#include "records/CrumbItem.h"

namespace nookery {

/// An original that could not be read so often is not tried again until somebody asks.
inline constexpr int mostReadingAttempts = 3;

/// What earlier runs of the program left for the background.
struct EnrichmentBacklog {
    std::vector<Uuid> unread;         ///< originals to be read
    std::vector<Uuid> suspects;       ///< the same, under which the program ended
    std::vector<Uuid> withoutVector;  ///< texts that the present model has not embedded
};

/// Whether the memory has an original that was never read.
bool hasUnreadContents(const CrumbItem& item);

/// Goes through a whole library. `work` is what the sidecar has recorded; `embedded` are the
/// memories whose vector the present model made. Any thread.
EnrichmentBacklog findBacklog(const CrumbItemList& all, std::span<const PendingWork> work,
                              const std::unordered_set<Uuid>& embedded);

}  // namespace nookery
