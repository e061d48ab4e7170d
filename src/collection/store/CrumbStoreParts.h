#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "collection/capture/CaptureService.h"
#include "collection/database/LibraryLock.h"
#include "collection/database/MemoryAnnotations.h"
#include "collection/database/SQLiteDatabase.h"
#include "collection/database/Sidecar.h"
#include "collection/enrichment/EnrichmentWorker.h"
#include "collection/inbox/CloudInboxWatcher.h"
#include "collection/inbox/InboxIntake.h"
#include "collection/inbox/InboxWatcher.h"
#include "collection/originals/MemoryRemoval.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "collection/store/CrumbStore.h"
#include "collection/store/MemoryList.h"
#include "collection/store/SearchSession.h"

namespace nookery {

/// What the store owns. The members are created in this order and destroyed in the opposite one;
/// the store's own source files, and nobody else, work on them.
class CrumbStore::Parts {
  public:
    Parts(const Platform& platformServices, LibraryLayout libraryLayout,
          LibraryAccess libraryAccess);

    Platform platform;
    LibraryLayout layout;
    LibraryAccess access;
    std::optional<std::string> startFailure;
    std::optional<RestoreNotice> restoreNotice;

    std::optional<LibraryLock> lock;
    std::optional<SQLiteDatabase> database;  ///< none when opening failed
    std::optional<Sidecar> sidecar;          ///< none when opening failed

    MemoryList memories;
    Published<std::vector<CrumbGroup>> groups;
    Published<std::unordered_map<Uuid, std::vector<std::byte>>> richTextByID;
    Published<std::optional<Uuid>> selectedID;
    Published<std::set<Uuid>> selectedIDs;
    Published<int> importCountInProgress{0};
    Published<int> inboxImportCount{0};
    Published<int> cloudImportCount{0};
    Published<std::optional<InboxReport>> inboxReport;
    Published<int> faceDataRevision{0};
    Published<std::vector<NookeryReceivedFieldReport>> fieldReports;
    FieldReportReceiver* fieldReportReceiver = nullptr;
    Published<std::optional<SnapshotProgress>> snapshotProgress;
    Published<std::optional<IntakeNotice>> intakeNotice;
    MemoryAnnotations annotations;
    RetrievalEngine retrieval;
    SearchSession search;
    EnrichmentWorker enrichment;
    std::vector<EnrichmentResult> heldResults;  ///< that came during a destructive operation
    SaveFailure enrichmentSaveFailure;          ///< the last since the work was started
    bool settlingIsScheduled = false;
    bool resultsAreUnsynced = false;
    std::vector<Uuid> unsyncedVectors;  ///< of memories whose vectors are saved, but not synced
    bool enrichedListIsStale = false;   ///< records changed that the shown list does not show yet
    std::unique_ptr<CrumbRecoverySnapshots> recoverySnapshots;
    std::unique_ptr<CaptureService> capture;
    std::unique_ptr<InboxIntake> inboxIntake;
    std::shared_ptr<InboxWatcher> inboxWatcher;
    std::shared_ptr<CloudInboxWatcher> cloudInboxWatcher;
    bool destructiveOperationRuns = false;
    CallbackGuard guard;

    // Start-up.
    void load(std::string_view logPrefix, const std::function<void()>& step);
    void openDatabase();
    void createServices();
    void loadMemories();
    void loadGroups();
    void loadRichTexts();
    void loadAnnotations();
    void buildIndex();
    void loadEmbeddings();
    /// Piece by piece, between whatever else the main thread has to do.
    void prepareVersions();

    // Inboxes.
    void createInboxes();
    /// Hands what an inbox found to the intake, on the main thread.
    InboxHandler inboxHandler(InboxKind inbox);
    void startInboxes();
    void stopInboxes();

    // Saving. A failure is logged behind the prefix and returned; nothing is thrown.
    /// Runs a change of the database and makes it durable.
    SaveFailure save(std::string_view logPrefix,
                     const std::function<void(SQLiteDatabase&)>& change);
    /// The same for what can be made again: it survives the end of the process only.
    SaveFailure saveUnsynced(std::string_view logPrefix,
                             const std::function<void(SQLiteDatabase&)>& change);
    /// Runs a change of what lies in the user defaults.
    SaveFailure annotate(const std::function<void()>& change);
    SaveFailure changeFieldReport(const std::function<void(FieldReportReceiver&)>& change);
    /// Runs a change of the sidecar; what it holds can be made again, so a failure is only logged.
    void withSidecar(const std::function<void(Sidecar&)>& change);
    SaveFailure logged(std::string_view logPrefix, const std::string& description);
    /// Why nothing may be changed now; none when it may.
    SaveFailure refusal() const;

    // Records.
    /// Saves changed records and publishes them, saved or not.
    SaveFailure saveChanged(const CrumbItemList& changed);
    /// Saves new records and publishes them only if that succeeded.
    CaptureService::Committed addRecords(const CrumbItemList& records, const TagsByID& tagsByID);
    CaptureService::Committed commitCaptured(const std::vector<PreparedMemory>& prepared);
    void publish(const CrumbItemList& records);
    void index(const CrumbItemPointer& item);
    MemoryAttributes attributesOf(const CrumbItem& item) const;
    std::string groupName(const std::optional<Uuid>& groupID) const;
    /// What every change to the library ends with: a routine snapshot becomes due, and the shown
    /// list follows.
    void recordChange();

    // Enrichment.
    EnrichmentWorker::Owner enrichmentOwner();
    /// Lets new or replaced records have their turn as far as they need one.
    void enrichNew(const CrumbItemList& records);
    /// After an edit: the vector is of the old text.
    void renewEmbeddings(const std::vector<Uuid>& ids);
    /// Has originals read again, whatever came of it before.
    void renewContents(const std::vector<Uuid>& ids);
    void resumeEnrichment();
    std::vector<Uuid> idsWithoutVectorOf(const std::string& model);
    /// Memories whose originals are still to be read, by what they hold and what was noted.
    struct Unread {
        std::vector<Uuid> ids;
        std::vector<Uuid> suspects;  ///< under which the program ended
    };
    Unread unreadContents();
    std::vector<PendingWork> recordedContentsWork();
    void storeEnrichment(const std::vector<EnrichmentResult>& results);
    CrumbItemList recordsWithContents(const std::vector<EnrichmentResult>& results) const;
    /// Notes what came of reading originals. It need not be synced before: what is lost with the
    /// record is read again.
    void recordContentsRead(const std::vector<EnrichmentResult>& results);
    /// The results did not reach the database, by no fault of the originals.
    void takeContentsBack(const std::vector<EnrichmentResult>& results);
    /// Syncing each result would hold the main thread up; those of half a second are synced
    /// together, only then taken off the list of texts to be embedded, and shown.
    void settleSoon();
    void settleEnrichment();
    void settleAndShowEnrichment();

    // Removal.
    void destructively(std::string_view reason, Finished finished,
                       std::function<DestructiveOutcome(const RecoveryPoint&)> operation);
    /// Notes that these originals are to go, so that the next start finishes what a killed
    /// process did not.
    void recordPendingRemoval(const std::vector<Path>& originals);
    /// Disposes of what removed memories had outside the database.
    void dispose(const std::unordered_set<Uuid>& ids, const std::vector<Path>& originals,
                 OriginalDisposal disposal);
    std::vector<Path> factsOfRemoved(const std::vector<Path>& originals, Sidecar& target) const;
    /// Drops memories that the database no longer holds from everything kept in memory of them.
    void forget(const std::unordered_set<Uuid>& ids);
    void forgetEverything();
};

/// A copy of the record in another group, or in none.
CrumbItemPointer inGroup(const CrumbItem& item, std::optional<Uuid> groupID);

}  // namespace nookery
