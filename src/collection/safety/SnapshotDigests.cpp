#include "collection/safety/SnapshotDigests.h"

#include <fmt/format.h>

#include "collection/database/Sidecar.h"
#include "collection/originals/FileDigest.h"
#include "collection/safety/SnapshotRepository.h"

namespace nookery {

void SnapshotDigests::check(const Path& folder, const std::stop_token& stop) {
    if (!files_.status(folder / snapshot::sidecarName)) return;
    Sidecar sidecar =
        Sidecar::openForReading(folder / snapshot::sidecarName, SqliteAccess::immutable);
    for (const OriginalFact& fact : sidecar.originals()) {
        if (stop.stop_requested()) throw Cancelled();
        const Path copy = folder / fact.relativePath;
        const auto status = files_.status(copy);
        // The manifest's count has told already whether something is missing.
        if (!status || digestOnce(copy, *status) == fact.digest) continue;
        throw Error(fmt::format("Its copy of {} is damaged.", displayName(fact.relativePath)));
    }
}

Sha256Digest SnapshotDigests::digestOnce(const Path& path, const FileStatus& status) {
    const auto key = std::pair(status.device, status.inode);
    const auto known = digests_.find(key);
    if (known != digests_.end()) return known->second;
    return digests_.emplace(key, digestOfFile(files_, digester_, path)).first->second;
}

}  // namespace nookery
