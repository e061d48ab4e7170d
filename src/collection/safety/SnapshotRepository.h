#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"

namespace nookery {

/// File and folder names inside one snapshot.
namespace snapshot {
inline constexpr std::string_view databaseName = "crumb.sqlite3";
inline constexpr std::string_view sidecarName = "sidecar.sqlite3";
inline constexpr std::string_view receiptsDatabaseName = "Coffer/coffer.sqlite3";
inline constexpr std::string_view itemsName = "Items";
inline constexpr std::string_view receiptOriginalsName = "Coffer/Originals";
inline constexpr std::string_view stateName = "Crumb-State.plist";
inline constexpr std::string_view manifestName = "manifest.json";
inline constexpr std::string_view buildingPrefix = ".building-";
}  // namespace snapshot

/// What a list of snapshots shows of each.
struct SnapshotSummary {
    std::string name;
    Timestamp createdAt;
    std::string reason;
    std::int64_t managedFileCount = 0;
    std::int64_t byteCount = 0;  ///< of all its files, also those shared with other snapshots
    /// Why the snapshot cannot be read; reason and count then say nothing.
    std::optional<std::string> problem;
};

/// The folder that holds the snapshots, each a folder named by its time in UTC. Whatever else lies
/// there is left alone, but for folders of unfinished builds. Throws FileError.
class SnapshotRepository {
  public:
    SnapshotRepository(FileSystem& files, Path folder)
        : files_(files), folder_(std::move(folder)) {}

    const Path& folder() const { return folder_; }

    /// Names of the snapshots, oldest first; none when the folder does not exist yet.
    std::vector<std::string> names() const;
    /// The newest whose time has come; one named in the future says nothing about its age.
    std::optional<std::string> newest(Timestamp now) const;
    /// Seconds since the newest was taken; none when there is none.
    std::optional<double> ageOfNewest(Timestamp now) const;
    std::vector<SnapshotSummary> summaries() const;

    /// A name from `now` that is still free.
    std::string freeName(Timestamp now) const;
    /// Removes what broken builds and removals left behind.
    void sweep();
    /// Removes snapshots until `maximumCount` remain: those named in the future first, then the
    /// oldest; never `kept`, the one just taken.
    void prune(std::size_t maximumCount, const std::string& kept, Timestamp now);

  private:
    void remove(const std::string& name);
    SnapshotSummary summaryOf(const std::string& name) const;

    FileSystem& files_;
    Path folder_;
};

}  // namespace nookery
