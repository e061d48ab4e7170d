#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <stop_token>
#include <string>

#include "collection/safety/RecoveryManifest.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

struct SnapshotProgress {
    enum class Phase { databases, originals };
    Phase phase = Phase::databases;
    std::size_t done = 0;  ///< pages of a database, or files
    std::size_t total = 0;
};

/// Who follows a snapshot being taken, and may stop it. Called on the snapshots queue.
struct SnapshotFollower {
    std::function<void(const SnapshotProgress&)> progress;
    std::stop_token stop;
};

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
    /// be copied, FileError when a file cannot, Cancelled when the follower says so.
    std::string build(const std::string& reason, const SnapshotFollower& follower);

  private:
    void fill(const Path& building, RecoveryManifest manifest, const SnapshotFollower& follower);
    void copyDatabases(const Path& building, const SnapshotFollower& follower);
    void copyDatabase(const Path& live, const Path& copy, const SnapshotFollower& follower);
    std::int64_t copyOriginals(const Path& building, const SnapshotFollower& follower);

    const Platform& platform_;
    LibraryLayout layout_;
    Pause pause_;
};

}  // namespace nookery
