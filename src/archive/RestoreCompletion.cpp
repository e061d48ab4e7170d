#include <array>

#include "archive/ArchiveCheck.h"
#include "archive/ArchivePlaces.h"
#include "archive/ArchiveRestore.h"
#include "archive/RestorePlaces.h"
#include "archive/RestoreRelocation.h"
#include "collection/safety/JournaledSwap.h"
#include "collection/safety/LibraryState.h"
#include "collection/safety/SnapshotCheck.h"
#include "collection/safety/SnapshotRepository.h"
#include "foundation/DurableFile.h"
#include "foundation/Uuid.h"
#include "platform/Log.h"
#include "platform/PropertyListFormat.h"
#include "platform/UserDefaults.h"

namespace nookery {
namespace {

constexpr const char* restoredLog = "NOOKERY: Complete archive restored; prior live data saved at ";
constexpr const char* failedLog = "NOOKERY restore was not completed: ";

constexpr const char* restoredTitle = "NOOKERY Collection Restored";
constexpr const char* restoredDetail =
    "Your archived memories, People and Pets associations, and available Receipts have been "
    "restored. A safety copy of your previous collection was preserved.";
constexpr const char* failedTitle = "NOOKERY Restore Not Completed";

/// What gives way to the archive's. The safety folder has the library folder's own layout.
struct Replaced {
    std::string_view live;    ///< below the library folder
    std::string_view staged;  ///< below the pending folder; empty: it only goes away
    bool isDatabase = false;
    bool staysWithoutSuccessor = false;
};
constexpr std::array replacedThings{
    Replaced{snapshot::databaseName, archive::databaseName, true},
    Replaced{snapshot::sidecarName, snapshot::sidecarName, true},
    Replaced{snapshot::itemsName, archive::originalsName},
    Replaced{snapshot::receiptsDatabaseName, archive::receiptsDatabaseName, true, true},
    Replaced{snapshot::receiptOriginalsName, archive::receiptOriginalsName, false, true},
    // Memories that wait to be taken over belong to what was live.
    Replaced{"crumbs.json", ""},
};
constexpr std::array databaseCompanions{"-wal", "-shm", "-journal"};

/// One pending restore, from its journal to its end.
class Completion {
  public:
    Completion(const Platform& platform, const LibraryLayout& layout)
        : platform_(platform),
          files_(platform.files),
          layout_(layout),
          places_(RestorePlaces::find(platform.files, layout)) {}

    RestoreNotice run() {
        auto swap = findJournal();
        try {
            if (swap && swap->isBeingUndone()) {
                undo(*swap);
                swap.reset();
            }
            if (!swap) swap.emplace(begin());
            replace(*swap);
            discardPending();
        } catch (const Error& error) {
            if (swap) undoOrThrow(*swap, error.description());
            return failed(error.description());
        }
        platform_.log.line(restoredLog + displayName(places_.safety()));
        return {true, restoredTitle, restoredDetail};
    }

  private:
    std::optional<JournaledSwap> findJournal() const {
        try {
            return JournaledSwap::find(files_, places_.root, places_.journal());
        } catch (const Error& error) {
            throw RestoreError("A restore was interrupted, and how far it came cannot be read (" +
                               error.description() + "). Nothing is lost: the rest lies in " +
                               displayName(places_.safety()) + " and " +
                               displayName(places_.pending()) + ".");
        }
    }

    JournaledSwap begin() {
        refuseEarlierSafetyCopy();
        const ArchiveContents contents = readArchiveManifest(files_, places_.pending());
        relocateOriginals(platform_, layout_, places_.pending(), contents);
        return JournaledSwap::begin(files_, places_.root, places_.journal(), planMoves());
    }

    /// Without a journal of ours, a safety folder is an earlier restore's.
    void refuseEarlierSafetyCopy() const {
        if (!files_.status(places_.safety())) return;
        throw RestoreError("A previous pre-restore safety copy exists at " +
                           displayName(places_.safety()) +
                           ". Move it to a safe location before completing another restore.");
    }

    std::vector<SwapMove> planMoves() const {
        const std::string pending = places_.libraryPrefix + std::string(restore::pendingName) + "/";
        const std::string safety = std::string(restore::safetyName) + "/";
        std::vector<SwapMove> moves;
        for (const Replaced& thing : replacedThings) {
            const std::string name(thing.live);
            const std::string live = places_.libraryPrefix + name;
            const bool comesIn = !thing.staged.empty() &&
                                 files_.status(places_.pending() / thing.staged).has_value();
            if (!comesIn && thing.staysWithoutSuccessor) continue;
            for (const char* companion : databaseCompanions) {
                if (!thing.isDatabase) break;
                moves.push_back({live + companion, std::nullopt, safety + name + companion});
            }
            moves.push_back(
                {live, comesIn ? std::optional(pending + std::string(thing.staged)) : std::nullopt,
                 safety + name});
        }
        return moves;
    }

    void replace(JournaledSwap& swap) {
        saveDefaults();
        // When all has moved, what lies beside a database may already be the new one's.
        if (someAreStaged(swap)) swap.finish();
        const ArchiveContents contents = readArchiveManifest(files_, places_.pending());
        for (const auto& [key, bytes] : readLocalState(contents)) {
            platform_.defaults.set(key, bytes);
        }
    }

    bool someAreStaged(const JournaledSwap& swap) const {
        for (const SwapMove& move : swap.moves()) {
            if (move.staged && files_.status(places_.root / *move.staged)) return true;
        }
        return false;
    }

    std::map<std::string, std::string> readLocalState(const ArchiveContents& contents) const {
        return nookery::readLocalState(files_, places_.pending(), contents);
    }

    /// What the defaults say goes into the safety copy, before any of it is changed.
    void saveDefaults() {
        const Path place = places_.safety() / snapshot::stateName;
        if (files_.status(place)) return;
        createDirectories(files_, places_.safety());
        writeDurably(files_, place,
                     platform_.propertyLists.write(libraryState(platform_.defaults)));
    }

    /// Puts everything back.
    void undo(JournaledSwap& swap) {
        swap.undo();
        const Path state = places_.safety() / snapshot::stateName;
        if (files_.status(state)) {
            applyLibraryState(readLibraryState(files_, platform_.propertyLists, places_.safety()),
                              platform_.defaults);
            files_.removeFile(state);
            files_.syncDirectory(places_.safety());
        }
        try {
            // The safety folder goes before the journal, lest it be taken for an earlier one's.
            removeEmptiedSafety();
            swap.close();
        } catch (const Error& error) {
            // The library is whole again; the next start goes on from here.
            platform_.log.line("NOOKERY restore clean-up error: " + error.description());
        }
    }

    /// Only what is surely nobody's is removed; anything else there makes this fail.
    void removeEmptiedSafety() {
        if (!files_.status(places_.safety())) return;
        const Path receipts = places_.safety() / Path(snapshot::receiptsDatabaseName).parent_path();
        if (files_.status(receipts)) files_.removeDirectory(receipts);
        for (const DirectoryEntry& entry : files_.list(places_.safety())) {
            const bool unfinished = entry.name.native().starts_with(temporaryPrefix);
            if (unfinished) files_.removeFile(places_.safety() / entry.name);
        }
        files_.removeDirectory(places_.safety());
        files_.syncDirectory(places_.root);
    }

    void undoOrThrow(JournaledSwap& swap, const std::string& cause) {
        try {
            undo(swap);
        } catch (const Error& error) {
            platform_.log.line(failedLog + cause);
            throw RestoreError("The library is between two states, since a restore failed (" +
                               cause + ") and could not be undone (" + error.description() +
                               "). Mend that and start again; nothing is lost: the rest lies in " +
                               displayName(places_.safety()) + " and " +
                               displayName(places_.pending()) + ".");
        }
    }

    RestoreNotice failed(std::string cause) {
        platform_.log.line(failedLog + cause);
        if (cause.ends_with('.')) cause.pop_back();
        return {false, failedTitle,
                "Your restore could not finish: " + cause +
                    ". The pending archive has been preserved."};
    }

    /// The journal goes with its folder, at once; what is left is only rubbish.
    void discardPending() {
        const Path finished =
            places_.library / (std::string(restore::finishedPrefix) + Uuid::random().toString());
        files_.rename(places_.pending(), finished);
        try {
            files_.syncDirectory(places_.library);
        } catch (const FileError&) {
            files_.rename(finished, places_.pending());
            throw;
        }
        sweepRestoreLeftovers(files_, layout_);
    }

    const Platform& platform_;
    FileSystem& files_;
    LibraryLayout layout_;
    RestorePlaces places_;
};

}  // namespace

std::optional<RestoreNotice> completePendingArchiveRestore(const Platform& platform,
                                                           const LibraryLayout& layout) {
    sweepRestoreLeftovers(platform.files, layout);
    if (!archiveRestoreWaits(platform.files, layout)) return std::nullopt;
    return Completion(platform, layout).run();
}

}  // namespace nookery
