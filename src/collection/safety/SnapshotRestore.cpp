#include "collection/safety/SnapshotRestore.h"

#include <algorithm>
#include <array>
#include <set>

#include "collection/safety/JournaledSwap.h"
#include "collection/safety/LibraryState.h"
#include "collection/safety/SnapshotCheck.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "foundation/Uuid.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/UserDefaults.h"

namespace nookery {
namespace {

constexpr std::string_view pendingName = ".NOOKERY-Snapshot-Restore-Pending";
constexpr std::string_view preparingPrefix = ".NOOKERY-Snapshot-Restore-Preparing-";
constexpr std::string_view finishedPrefix = ".NOOKERY-Snapshot-Restore-Finished-";
constexpr std::string_view journalName = "journal.json";
constexpr std::string_view safetyParent = "Recovery/Before-Restore";

constexpr const char* restoredPrefix =
    "NOOKERY: Recovery snapshot restored; prior live data saved at ";
constexpr const char* failedPrefix = "NOOKERY restore was not completed: ";

/// What a restore exchanges. A database's companions go away with it and never come in.
struct Restored {
    std::string_view name;
    bool isDatabase;
    bool staysWithoutSuccessor;  ///< receipts, when the snapshot holds none
};
constexpr std::array restoredThings{
    Restored{snapshot::databaseName, true, false},
    Restored{snapshot::sidecarName, true, false},
    Restored{snapshot::itemsName, false, false},
    Restored{snapshot::receiptsDatabaseName, true, true},
    Restored{snapshot::receiptOriginalsName, false, true},
};
constexpr std::array databaseCompanions{"-wal", "-shm", "-journal"};

Path pendingFolder(const LibraryLayout& layout) { return layout.library() / pendingName; }

void removeQuietly(FileSystem& files, const Path& path) {
    try {
        removeTree(files, path);
    } catch (const Error&) {
        // A hidden leftover; the next start tries again.
    }
}

/// Copies a folder's files, hidden leftovers of nobody included, and makes them durable.
class RestoreCopy {
  public:
    RestoreCopy(FileSystem& files, Path from, Path to)
        : files_(files), from_(std::move(from)), to_(std::move(to)) {}

    void run(const RestoreProgress& progress, const std::stop_token& stop) {
        std::vector<Path> all;
        walkTree(files_, from_,
                 [&all](const Path& relative, FileType) { all.push_back(relative); });
        makeFolder({});
        makeFolder(Path(snapshot::itemsName));  // also when it is to be empty
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (stop.stop_requested()) throw Cancelled();
            if (progress) progress(i, all.size());
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

/// Leftovers of preparations and restores that ended before they could clear up.
void sweep(FileSystem& files, const LibraryLayout& layout) {
    if (!files.statusFollowingLinks(layout.library())) return;
    for (const DirectoryEntry& entry : files.list(layout.library())) {
        const std::string& name = entry.name.native();
        if (name.starts_with(preparingPrefix) || name.starts_with(finishedPrefix)) {
            removeQuietly(files, layout.library() / entry.name);
        }
    }
}

std::vector<SwapMove> planMoves(FileSystem& files, const LibraryLayout& layout,
                                const std::string& safety) {
    std::vector<SwapMove> moves;
    for (const Restored& thing : restoredThings) {
        const std::string name(thing.name);
        const std::string staged = std::string(pendingName) + "/" + name;
        const bool comesIn = files.status(layout.library() / staged).has_value();
        if (!comesIn && thing.staysWithoutSuccessor) continue;
        for (const char* companion : databaseCompanions) {
            if (!thing.isDatabase) break;
            moves.push_back({name + companion, std::nullopt, safety + "/" + name + companion});
        }
        moves.push_back(
            {name, comesIn ? std::optional(staged) : std::nullopt, safety + "/" + name});
    }
    return moves;
}

/// One restore that waits, from its journal to its end.
class PendingRestore {
  public:
    PendingRestore(const Platform& platform, const LibraryLayout& layout)
        : platform_(platform),
          files_(platform.files),
          layout_(layout),
          pending_(pendingFolder(layout)) {}

    RestoreNotice complete() {
        auto swap = JournaledSwap::find(files_, layout_.library(), pending_ / journalName);
        if (swap && swap->isBeingUndone()) {
            return giveUp(*swap, "it was interrupted while it was being undone");
        }
        try {
            if (!swap) swap.emplace(begin());
            swap->finish();
            applyLibraryState(readLibraryState(files_, platform_.propertyLists, pending_),
                              platform_.defaults);
        } catch (const Error& error) {
            return swap ? giveUp(*swap, error.description()) : drop(error.description());
        }
        const Path safety = layout_.library() / safetyOf(*swap);
        discardPending();
        platform_.log.line(restoredPrefix + displayName(safety));
        return {true, "NOOKERY Collection Restored",
                "The snapshot has been restored. A safety copy of your previous collection was "
                "preserved at " +
                    displayName(safety) + "."};
    }

  private:
    JournaledSwap begin() {
        const Path parent = layout_.library() / safetyParent;
        createDirectories(files_, parent);
        const std::string name = SnapshotRepository(files_, parent).freeName(platform_.clock.now());
        files_.createDirectory(parent / name);
        writeDurably(files_, parent / name / snapshot::stateName,
                     platform_.propertyLists.write(libraryState(platform_.defaults)));
        files_.syncDirectory(parent);
        const std::string safety = std::string(safetyParent) + "/" + name;
        return JournaledSwap::begin(files_, layout_.library(), pending_ / journalName,
                                    planMoves(files_, layout_, safety));
    }

    /// The collection database goes first, so its place tells the safety folder.
    static Path safetyOf(const JournaledSwap& swap) {
        return Path(swap.moves().front().safety).parent_path();
    }

    RestoreNotice giveUp(JournaledSwap& swap, const std::string& cause) {
        const Path safety = layout_.library() / safetyOf(swap);
        try {
            swap.undo();
            applyLibraryState(readLibraryState(files_, platform_.propertyLists, safety),
                              platform_.defaults);
        } catch (const Error& error) {
            platform_.log.line(failedPrefix + cause);
            throw RestoreError("The library is between two states, since a restore failed (" +
                               cause + ") and could not be undone (" + error.description() +
                               "). Mend that and start again; nothing is lost: the rest lies in " +
                               displayName(safety) + ".");
        }
        removeEmptied(safety);
        return drop(cause);
    }

    /// A safety folder whose things are all back. Only what is surely nobody's is removed.
    void removeEmptied(const Path& safety) {
        try {
            removeTree(files_, safety / snapshot::stateName);
            const Path receipts = safety / Path(snapshot::receiptsDatabaseName).parent_path();
            if (files_.status(receipts)) files_.removeDirectory(receipts);
            files_.removeDirectory(safety);
        } catch (const Error&) {
            // An empty folder more is nothing to fail for.
        }
    }

    RestoreNotice drop(const std::string& cause) {
        discardPending();
        platform_.log.line(failedPrefix + cause);
        return {false, "NOOKERY Restore Not Completed",
                "Your restore could not finish: " + cause +
                    " Your collection is as it was before; the snapshot is unchanged."};
    }

    /// The journal goes with its folder, at once; what is left is only rubbish.
    void discardPending() {
        const Path finished =
            layout_.library() / (std::string(finishedPrefix) + Uuid::random().toString());
        files_.rename(pending_, finished);
        files_.syncDirectory(layout_.library());
        removeQuietly(files_, finished);
    }

    const Platform& platform_;
    FileSystem& files_;
    const LibraryLayout& layout_;
    Path pending_;
};

}  // namespace

void prepareSnapshotRestore(const Platform& platform, const LibraryLayout& layout,
                            const std::string& snapshotName, const RestoreProgress& progress,
                            std::stop_token stop) {
    FileSystem& files = platform.files;
    if (snapshotRestoreWaits(files, layout)) {
        throw RestoreError("A restore is already pending. Reopen NOOKERY to complete it.");
    }
    const SnapshotRepository shelf(files, layout.snapshots());
    const auto names = shelf.names();
    if (std::find(names.begin(), names.end(), snapshotName) == names.end()) {
        throw RestoreError("There is no snapshot \"" + snapshotName + "\".");
    }
    checkSnapshot(files, platform.propertyLists, shelf.folder() / snapshotName);
    const Path preparing =
        layout.library() / (std::string(preparingPrefix) + Uuid::random().toString());
    try {
        RestoreCopy(files, shelf.folder() / snapshotName, preparing).run(progress, stop);
        files.renameExclusive(preparing, pendingFolder(layout));
    } catch (const Error&) {
        removeQuietly(files, preparing);
        throw;
    }
    files.syncDirectory(layout.library());
}

bool snapshotRestoreWaits(FileSystem& files, const LibraryLayout& layout) {
    return files.status(pendingFolder(layout)).has_value();
}

std::optional<RestoreNotice> completePendingSnapshotRestore(const Platform& platform,
                                                            const LibraryLayout& layout) {
    sweep(platform.files, layout);
    if (!snapshotRestoreWaits(platform.files, layout)) return std::nullopt;
    return PendingRestore(platform, layout).complete();
}

}  // namespace nookery
