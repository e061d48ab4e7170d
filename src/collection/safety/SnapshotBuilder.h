#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "collection/safety/RecoveryManifest.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Builds one recovery snapshot from a library in use. It is complete when it has its final name;
/// until then it is a hidden folder, removed at the next snapshot. Snapshots queue only.
class SnapshotBuilder {
  public:
    using Pause = std::function<void(std::chrono::milliseconds)>;

    static constexpr int pagesPerStep = 128;
    static constexpr std::chrono::milliseconds pauseBetweenSteps{25};

    /// `pause` waits between two steps of a database's backup.
    SnapshotBuilder(const Platform& platform, LibraryLayout layout, Pause pause);

    /// Returns the snapshot's name once it is durable. Throws RecoveryError when a database cannot
    /// be copied, FileError when a file cannot, Cancelled when the operation is stopped.
    std::string build(const std::string& reason, const OperationControl& control);

  private:
    void fill(const Path& building, RecoveryManifest manifest, const OperationControl& control);
    void copyDatabases(const Path& building, const OperationControl& control);
    void copyDatabase(const Path& live, const Path& copy, const OperationControl& control);
    std::int64_t copyOriginals(const Path& building, const OperationControl& control);

    const Platform& platform_;
    LibraryLayout layout_;
    Pause pause_;
};

}  // namespace nookery
