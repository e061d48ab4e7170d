#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Something in a library that is not as it should be.
struct VerifyProblem {
    /// "missing-database", "damaged-database", "missing-original", "missing-linked-original",
    /// "changed-original", "unreadable-original", "unlisted-file" or "broken-snapshot".
    std::string what;
    Path path;
    std::string message;  ///< what is wrong, and what to do
};

struct VerifyReport {
    std::vector<VerifyProblem> problems{};
    std::size_t memoryCount = 0;
    std::size_t receiptCount = 0;
    std::size_t originalFileCount = 0;  ///< managed ones, of memories and receipts
    std::size_t undigestedCount = 0;    ///< of these, without a first digest to compare with
    std::size_t snapshotCount = 0;
};

enum class VerifyDepth {
    quick,  ///< without reading originals
    full,
};

/// Holds a library against what is known of it: its databases against SQLite's check, its originals
/// against the rows that name them and the digests taken when they came in, its snapshots against
/// their manifests and the same digests. Changes nothing, opens everything for reading only, and
/// goes on after each problem; other programs may use the library meanwhile. Works on the capture
/// queue and reports the databases, then the originals, then the snapshots. Fails with FileError
/// when the library folder is not there. Main thread.
OperationPointer<VerifyReport> verifyLibrary(const Platform& platform, const LibraryLayout& layout,
                                             VerifyDepth depth);

}  // namespace nookery
