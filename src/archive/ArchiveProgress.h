#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>

namespace nookery {

struct ArchiveProgress {
    enum class Phase { copying, checking };
    Phase phase = Phase::copying;
    std::int64_t filesDone = 0;
    std::int64_t fileCount = 0;
    std::int64_t bytesDone = 0;
    std::int64_t byteCount = 0;
};

/// Who follows the work on an archive, and may stop it. Called on the thread that does the work,
/// after each file and after each piece of a large one.
struct ArchiveFollower {
    std::function<void(const ArchiveProgress&)> progress;
    std::stop_token stop;
};

/// What an archive holds.
struct ArchiveSummary {
    std::int64_t recordCount = 0;
    std::int64_t fileCount = 0;  ///< listed in the manifest
    std::int64_t byteCount = 0;  ///< of those
};

}  // namespace nookery
