#include "collection/safety/LibraryRestore.h"

#include "collection/safety/LibraryState.h"
#include "collection/safety/RestoreError.h"
#include "collection/safety/SnapshotCheck.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "platform/Log.h"
#include "platform/PropertyListFormat.h"

namespace nookery {
namespace {

constexpr const char* failedLog = "NOOKERY restore was not completed: ";
constexpr const char* cleanUpLog = "NOOKERY restore clean-up error: ";
constexpr const char* restoredTitle = "NOOKERY Collection Restored";
constexpr const char* failedTitle = "NOOKERY Restore Not Completed";
constexpr const char* undoWasInterrupted = "it was interrupted while it was being undone";

/// One restore that waits, from its journal to its end.
class Completion {
  public:
    Completion(const Platform& platform, const RestoreFolders& folders, RestoreSteps& steps)
        : platform_(platform), files_(platform.files), folders_(folders), steps_(steps) {}

    RestoreNotice run() {
        auto swap = findJournal();
        const bool goesBack = swap && swap->isBeingUndone();
        if (goesBack) putBackOrThrow(*swap, undoWasInterrupted);
        try {
            if (goesBack) {
                clearUndone(*swap);
                swap.reset();
            }
            if (!swap) swap.emplace(begin());
            exchange(*swap);
            retirePending(files_, folders_);
        } catch (const Error& error) {
            if (swap) putBackOrThrow(*swap, error.description());
            return giveUp(swap, error.description());
        }
        clearRestoreLeftovers(files_, folders_);
        return restored(safetyFolderOf(*swap, folders_));
    }

  private:
    std::optional<JournaledSwap> findJournal() const {
        try {
            return JournaledSwap::find(files_, folders_.root, folders_.journal());
        } catch (const Error& error) {
            throw RestoreError("A restore was interrupted, and how far it came cannot be read (" +
                               error.description() + "). Nothing is lost: the rest lies in " +
                               displayName(folders_.root / folders_.safety) + " and " +
                               displayName(folders_.pending()) + ".");
        }
    }

    JournaledSwap begin() {
        const std::string safety = steps_.chooseSafety();
        steps_.makeReady();
        return JournaledSwap::begin(files_, folders_.root, folders_.journal(),
                                    restoreMoves(files_, folders_, steps_.staged(), safety));
    }

    void exchange(JournaledSwap& swap) {
        saveSettings(safetyFolderOf(swap, folders_));
        swap.finish();
        steps_.applySettings();
    }

    /// What the settings say goes into the safety copy, before any of it is changed.
    void saveSettings(const Path& safety) {
        if (files_.status(safety / snapshot::stateName)) return;
        createDirectories(files_, safety);
        removeUnfinishedWrites(files_, safety);
        writeDurably(files_, safety / snapshot::stateName,
                     platform_.propertyLists.write(libraryState(platform_.defaults)));
    }

    /// The library is the old one again, settings included.
    void putBack(JournaledSwap& swap) {
        swap.undo();
        const Path safety = safetyFolderOf(swap, folders_);
        // Once they are back they go, lest a later start take what the person has set by then.
        if (!files_.status(safety / snapshot::stateName)) return;
        applyLibraryState(readLibraryState(files_, platform_.propertyLists, safety),
                          platform_.defaults);
        files_.removeFile(safety / snapshot::stateName);
        files_.syncDirectory(safety);
    }

    void putBackOrThrow(JournaledSwap& swap, const std::string& cause) {
        try {
            putBack(swap);
        } catch (const Error& error) {
            platform_.log.line(failedLog + cause);
            throw RestoreError("The library is between two states, since a restore failed (" +
                               cause + ") and could not be undone (" + error.description() +
                               "). Mend that and start again; nothing is lost: the rest lies in " +
                               whereTheRestLies(safetyFolderOf(swap, folders_)) + ".");
        }
    }

    std::string whereTheRestLies(const Path& safety) const {
        if (!steps_.waitsAfterFailure()) return displayName(safety);
        return displayName(safety) + " and " + displayName(folders_.pending());
    }

    /// The safety folder goes before the journal, lest it be taken for an earlier restore's.
    void clearUndone(JournaledSwap& swap) {
        removeEmptiedSafety(files_, safetyFolderOf(swap, folders_));
        swap.close();
    }

    void clearUndoneQuietly(JournaledSwap& swap) {
        try {
            clearUndone(swap);
        } catch (const Error& error) {
            // The library is whole again; the next start goes on from here.
            platform_.log.line(cleanUpLog + error.description());
        }
    }

    RestoreNotice giveUp(std::optional<JournaledSwap>& swap, const std::string& cause) {
        platform_.log.line(failedLog + cause);
        if (!steps_.waitsAfterFailure()) {
            // A restore of which the person is told that it is off must not come back.
            retirePending(files_, folders_);
            clearRestoreLeftovers(files_, folders_);
        } else if (swap) {
            clearUndoneQuietly(*swap);
        }
        return {false, failedTitle, steps_.failedDetail(cause)};
    }

    RestoreNotice restored(const Path& safety) const {
        platform_.log.line("NOOKERY: " + steps_.nameInLog() +
                           " restored; prior live data saved at " + displayName(safety));
        return {true, restoredTitle, steps_.restoredDetail(safety)};
    }

    const Platform& platform_;
    FileSystem& files_;
    const RestoreFolders& folders_;
    RestoreSteps& steps_;
};

}  // namespace

std::optional<RestoreNotice> completeRestore(const Platform& platform, RestoreSteps& steps) {
    const RestoreFolders folders = steps.folders();
    clearRestoreLeftovers(platform.files, folders);
    if (!restoreWaits(platform.files, folders)) return std::nullopt;
    return Completion(platform, folders, steps).run();
}

}  // namespace nookery
