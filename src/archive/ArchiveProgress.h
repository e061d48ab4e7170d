#pragma once

#include <cstdint>

namespace nookery {

/// How far the work on an archive is.
struct ArchiveProgress {
    enum class Phase { copying, checking };
    Phase phase = Phase::copying;
    std::int64_t filesDone = 0;
    std::int64_t fileCount = 0;
};

/// What an archive holds.
struct ArchiveSummary {
    std::int64_t recordCount = 0;
    std::int64_t fileCount = 0;  ///< listed in the manifest
    std::int64_t byteCount = 0;  ///< of those
};

}  // namespace nookery
