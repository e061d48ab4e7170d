#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collection/database/SQLiteDatabase.h"
#include "collection/database/Sidecar.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "support/TestPlatform.h"

namespace nookery::testing {

/// A library with a memory for each original, and what takes its snapshots, on virtual time.
class SnapshotWorld {
  public:
    SnapshotWorld();

    /// Puts an original into `Items`, with its memory and its fact, as capture does.
    void capture(const std::string& name, const std::string& content);
    /// Titles of the memories, contents of the originals, the manual tags: all that a restore must
    /// bring back, as one text.
    std::string librarySays();

    /// Takes a snapshot as `snapshot take` does; throws Error with the failure.
    std::string take();
    std::vector<std::string> names() const { return shelf().names(); }
    SnapshotRepository shelf() const { return {*world.realFiles, world.layout().snapshots()}; }
    /// Names of all that lies in the folder of snapshots, hidden things too.
    std::vector<std::string> everythingOnShelf() const;
    Path inSnapshot(const std::string& name, const Path& relative) const {
        return world.layout().snapshots() / name / relative;
    }

    TestPlatform world;
    const Platform platform = world.platform();
    std::optional<SQLiteDatabase> database;
    std::optional<Sidecar> sidecar;
    int pauseCount = 0;
    std::function<void()> duringPause;
    std::optional<CrumbRecoverySnapshots> snapshots;
};

}  // namespace nookery::testing
