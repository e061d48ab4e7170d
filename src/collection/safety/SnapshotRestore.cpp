#include "collection/safety/SnapshotRestore.h"

#include <algorithm>
#include <array>
#include <set>

#include "collection/safety/LibraryState.h"
#include "collection/safety/SnapshotCheck.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "platform/Clock.h"

namespace nookery {
namespace {

constexpr RestoreNames names{
    .pending = ".NOOKERY-Snapshot-Restore-Pending",
    .preparingPrefix = ".NOOKERY-Snapshot-Restore-Preparing-",
    .finishedPrefix = ".NOOKERY-Snapshot-Restore-Finished-",
    .journal = "journal.json",
};
constexpr std::string_view safetyParent = "Recovery/Before-Restore";

/// What a restore has a use for. Whatever else lies in a snapshot stays there, so that it cannot be
/// taken for one of the restore's own.
bool isRestored(const Path& relative) {
    static constexpr std::array files{snapshot::databaseName, snapshot::sidecarName,
                                      snapshot::receiptsDatabaseName, snapshot::stateName,
                                      snapshot::manifestName};
    static constexpr std::array folders{snapshot::itemsName, snapshot::receiptOriginalsName};
    const std::string& name = relative.native();
    return std::find(files.begin(), files.end(), name) != files.end() ||
           std::any_of(folders.begin(), folders.end(), [&name](std::string_view folder) {
               return name.starts_with(std::string(folder) + "/");
           });
}

/// Copies a snapshot's files and makes them durable.
class SnapshotCopy {
  public:
    SnapshotCopy(FileSystem& files, Path from, Path to)
        : files_(files), from_(std::move(from)), to_(std::move(to)) {}

    void make(const OperationControl& control) {
        std::vector<Path> all;
        walkTree(files_, from_, [&all](const Path& relative, FileType) {
            if (isRestored(relative)) all.push_back(relative);
        });
        makeFolder({});
        // Also when they are to be empty, so that what is live goes away.
        makeFolder(Path(snapshot::itemsName));
        if (files_.status(from_ / snapshot::receiptsDatabaseName)) {
            makeFolder(Path(snapshot::receiptOriginalsName));
        }
        for (std::size_t i = 0; i < all.size(); ++i) {
            control.throwIfStopped();
            control.report({"checking and copying", i, all.size()});
            copy(all[i]);
        }
        for (const Path& folder : folders_) files_.syncDirectory(to_ / folder);
    }

  private:
    void makeFolder(const Path& relative) {
        if (folders_.contains(relative)) return;
        if (!relative.empty()) makeFolder(relative.parent_path());
        files_.createDirectory(to_ / relative);
        folders_.insert(relative);
    }

    void copy(const Path& relative) {
        makeFolder(relative.parent_path());
        const auto status = files_.status(from_ / relative);
        canClone_ = canClone_ && files_.cloneFile(from_ / relative, to_ / relative);
        if (!canClone_) copyNewFile(files_, from_ / relative, to_ / relative, {});
        if (status) files_.setModified(to_ / relative, status->modifiedNanoseconds);
    }

    FileSystem& files_;
    Path from_;
    Path to_;
    std::set<Path> folders_;
    bool canClone_ = true;
};

class SnapshotSteps final : public RestoreSteps {
  public:
    SnapshotSteps(const Platform& platform, const LibraryLayout& layout)
        : platform_(platform), folders_(snapshotRestoreFolders(layout)) {}

    RestoreFolders folders() const override { return folders_; }
    StagedLibrary staged() const override {
        return {.database = snapshot::databaseName,
                .sidecar = snapshot::sidecarName,
                .items = snapshot::itemsName,
                .receiptsDatabase = snapshot::receiptsDatabaseName,
                .receiptOriginals = snapshot::receiptOriginalsName};
    }
    bool waitsAfterFailure() const override { return false; }

    std::string chooseSafety() const override {
        const SnapshotRepository shelf(platform_.files, folders_.root / folders_.safety);
        return (folders_.safety / shelf.freeName(platform_.clock.now())).native();
    }
    void makeReady() override {
        // A snapshot's copy is as the library will be.
    }
    void applySettings() override {
        applyLibraryState(
            readLibraryState(platform_.files, platform_.propertyLists, folders_.pending()),
            platform_.defaults);
    }

    std::string nameInLog() const override { return "Recovery snapshot"; }
    std::string restoredDetail(const Path& safety) const override {
        return "The snapshot has been restored. A safety copy of your previous collection was "
               "preserved at " +
               displayName(safety) + ".";
    }
    std::string failedDetail(const std::string& cause) const override {
        return "Your restore could not finish: " + cause +
               " Your collection is as it was before; the snapshot is unchanged.";
    }

  private:
    const Platform& platform_;
    RestoreFolders folders_;
};

Path findSnapshot(FileSystem& files, const LibraryLayout& layout, const std::string& name) {
    const SnapshotRepository shelf(files, layout.snapshots());
    const auto all = shelf.names();
    if (std::find(all.begin(), all.end(), name) == all.end()) {
        throw RestoreError("There is no snapshot \"" + name + "\".");
    }
    return shelf.folder() / name;
}

}  // namespace

RestoreFolders snapshotRestoreFolders(const LibraryLayout& layout) {
    return {.names = names,
            .library = layout.library(),
            .root = layout.library(),
            .libraryPrefix = "",
            .safety = safetyParent};
}

void prepareSnapshotRestore(const Platform& platform, const LibraryLayout& layout,
                            const std::string& snapshotName, const OperationControl& control) {
    FileSystem& files = platform.files;
    prepareRestore(files, snapshotRestoreFolders(layout), [&](const Path& preparing) {
        const Path source = findSnapshot(files, layout, snapshotName);
        checkSnapshot(files, platform.propertyLists, source);
        SnapshotCopy(files, source, preparing).make(control);
        // What was checked must be what will be installed.
        checkSnapshot(files, platform.propertyLists, preparing);
    });
}

std::optional<RestoreNotice> completePendingSnapshotRestore(const Platform& platform,
                                                            const LibraryLayout& layout) {
    SnapshotSteps steps(platform, layout);
    return completeRestore(platform, steps);
}

OperationPointer<RestoreNotice> beginSnapshotRestore(const Platform& platform,
                                                     const LibraryLayout& layout,
                                                     const std::string& snapshotName) {
    return startOperation(
        platform.filesQueue, platform.mainQueue,
        [platform, layout, snapshotName](const OperationControl& control) {
            prepareSnapshotRestore(platform, layout, snapshotName, control);
            const auto notice = completePendingSnapshotRestore(platform, layout);
            if (notice && notice->restored) return *notice;
            throw RestoreError(notice ? notice->detail : "The restore did not take place.");
        });
}

}  // namespace nookery
