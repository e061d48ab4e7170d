#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <vector>

#include "collection/capture/Capture.h"
#include "collection/capture/IntakeNotice.h"
#include "collection/database/MemoryAnnotations.h"
#include "collection/inbox/InboxIntake.h"
#include "collection/safety/SnapshotBuilder.h"
#include "collection/safety/SnapshotRestore.h"
#include "collection/store/SearchSession.h"
#include "foundation/Published.h"
#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"
#include "records/NookeryReceivedFieldReport.h"
#include "records/UsageSignal.h"
#include "retrieval/RetrievalEngine.h"
#include "retrieval/related/FilenameCleanup.h"

namespace nookery {

class CrumbRecoverySnapshots;

/// How many hits a search shows when nobody says otherwise.
inline constexpr std::size_t defaultSearchLimit = 240;

/// Whether a process may change the library. Exactly one at a time may; any number may read.
enum class LibraryAccess { reading, writing };

/// One command leaves enrichment and due snapshots to a later, lasting session; a lasting one takes
/// its launch snapshot and begins the background work at the end of its start.
enum class SessionLength { oneCommand, lasting };

/// Why a change did not reach the disk. The change stays in memory until the next start.
using SaveFailure = std::optional<std::string>;

/// What a destructive operation came to.
struct DestructiveOutcome {
    std::size_t count = 0;                      ///< memories or groups removed
    std::optional<std::string> snapshotName{};  ///< none when the snapshot failed (it is logged)
    SaveFailure failure{};
};

struct EnrichmentFailure {
    Uuid id;
    std::string message;
    bool isGivenUp = false;  ///< not tried again unless somebody asks
};

struct CleanupOutcome {
    std::size_t changedCount = 0;
    SaveFailure failure{};
};

/// The one owner of the library while the program runs: the published state that every view
/// observes, and the one connection that writes the collection database. It owns and delegates;
/// each part can be read alone. Main thread only. Every change to a published field is announced.
class CrumbStore {
  public:
    CrumbStore(const Platform& platform, LibraryLayout layout, LibraryAccess access);
    ~CrumbStore();

    /// Opens the library and loads it, in the order that start-up has. With writing access throws
    /// LibraryInUse when another process owns the library, and RestoreError when a restore that was
    /// interrupted can neither be finished nor undone; a database that cannot be opened is logged
    /// and leaves an empty library that refuses every save. Call once.
    void start(SessionLength length);
    /// Why the library could not be opened or loaded; none when all is well. A caller that shows
    /// an empty library must show this too.
    const std::optional<std::string>& startFailure() const;
    /// What became of a restore that waited for this start, to be shown once; none when none did.
    const std::optional<RestoreNotice>& restoreNotice() const;

    // Published state.
    const Published<CrumbItemList>& items() const;             ///< newest first
    const Published<std::vector<CrumbGroup>>& groups() const;  ///< oldest first
    const Published<std::string>& searchText() const;
    const Published<CrumbItemList>& filteredItems() const;  ///< what the list shows for the query
    const Published<SearchResult>& searchResult() const;    ///< the same with scores and counts
    const Published<std::unordered_map<Uuid, std::string>>& retrievalHints() const;
    const Published<std::optional<Uuid>>& selectedID() const;
    const Published<std::set<Uuid>>& selectedIDs() const;
    const Published<int>& importCountInProgress() const;
    const Published<int>& inboxImportCount() const;
    const Published<int>& cloudImportCount() const;
    /// What the latest handover of an inbox came to; none before the first.
    const Published<std::optional<InboxReport>>& inboxReport() const;
    const Published<int>& indexingCount() const;  ///< memories whose enrichment waits or runs
    const Published<std::unordered_map<Uuid, std::vector<std::byte>>>& richTextByID() const;
    const Published<std::optional<IntakeNotice>>& intakeNotice() const;
    const Published<std::map<Uuid, Timestamp>>& bringBackDates() const;
    const Published<std::set<Uuid>>& broughtBackIDs() const;
    const Published<std::optional<BringBackNotice>>& bringBackNotice() const;
    const Published<int>& faceDataRevision() const;
    const Published<std::vector<NookeryReceivedFieldReport>>& fieldReports() const;
    /// How far the recovery snapshot before a destructive operation is; none while there is none.
    const Published<std::optional<SnapshotProgress>>& snapshotProgress() const;

    // Looking things up.
    CrumbItemPointer item(const Uuid& id) const;            ///< null when there is none
    std::vector<std::string> tagsOf(const Uuid& id) const;  ///< hashtags and manual ones, sorted
    std::vector<std::string> manualTagsOf(const Uuid& id) const;
    std::string groupNameOf(const CrumbItem& item) const;
    UsageSignal usageOf(const Uuid& id) const;
    const RetrievalEngine& retrieval() const;

    // Capture. `finished` is called on the main thread, once.
    void capture(CaptureRequest request, std::stop_token stop,
                 std::function<void(const CaptureProgress&)> progress,
                 std::function<void(const CaptureReport&)> finished);
    /// Takes what waits in both inboxes now, once, in a session that does not watch them.
    /// `finished` is called on the main thread, once: what came of it, and what is left there and
    /// why.
    using InboxesFinished =
        std::function<void(const std::vector<InboxReport>&, const std::vector<InboxWaiting>&)>;
    void takeFromInboxes(std::stop_token stop, InboxesFinished finished);
    using TagsByID = std::unordered_map<Uuid, std::vector<std::string>>;
    /// Complete records with new ids from elsewhere (import), saved in one transaction. Nothing is
    /// added when that fails; when only the tags cannot be saved, the memories are in.
    SaveFailure addRecords(const CrumbItemList& records, const TagsByID& tagsByID);

    // Changes to one memory. The id must exist.
    SaveFailure replaceItem(CrumbItem changed);
    /// Several at once, in one transaction. Nothing is changed, in memory either, when it fails.
    SaveFailure replaceItems(const CrumbItemList& changed);
    SaveFailure setManualTags(const Uuid& id, std::vector<std::string> tags);
    SaveFailure setBringBack(const Uuid& id, std::optional<Timestamp> date);
    SaveFailure recordSelection(const Uuid& id);  ///< counts as a use
    /// Gives memories their proposed titles, in one transaction: on failure none is changed. A
    /// memory that is gone, or whose title is no longer the old one, is left alone.
    CleanupOutcome cleanUpFilenames(const std::vector<CrumbFilenameCleanupCandidate>& candidates);
    void select(std::optional<Uuid> id);
    void setSelection(std::set<Uuid> ids);

    // Groups.
    SaveFailure createGroup(const std::string& name, Uuid* created = nullptr);
    SaveFailure renameGroup(const Uuid& id, const std::string& name);
    SaveFailure assignToGroup(const std::vector<Uuid>& ids, std::optional<Uuid> groupID);

    // Destructive operations: each is preceded by a recovery snapshot that names it. Changes are
    // refused while one runs. `finished` is called on the main thread, once.
    using Finished = std::function<void(const DestructiveOutcome&)>;
    void deleteGroup(const Uuid& id, Finished finished);
    void deleteMemories(const std::vector<Uuid>& ids, Finished finished);
    void clearLibrary(Finished finished);

    // Search. Publishes the lexical list at once and the deep order when it is ready; a new text
    // cancels the running deep search, which then publishes nothing. Empty text browses.
    void setSearchText(const std::string& text, std::size_t limit = defaultSearchLimit,
                       SearchDepth depth = SearchDepth::deep);
    /// "Browsing the full library." while the text is empty, else empty.
    std::string browsingText() const;
    /// The count shown and " most recent memories" while the text is empty, else empty.
    std::string statusText() const;

    // Background work: originals are read, embeddings made. Nothing of it runs before the start;
    // pausing gives up what is under way, which waits for the next start.
    void startBackgroundWork();
    void pauseBackgroundWork();
    /// Also after pausing, until what was under way has ended. What is then still under way, and
    /// ends with the process, is taken for what ended it.
    bool isBackgroundWorkUnderWay() const;
    /// Why something that was read since the start of the work could not be saved; it waits for the
    /// next session.
    const SaveFailure& enrichmentSaveFailure() const;
    /// Adds memories to what is enriched, also those enriched or given up before.
    void requestEnrichment(const std::vector<Uuid>& ids);
    /// Originals that could not be read, wholly or in part. Throws DatabaseError.
    std::vector<EnrichmentFailure> enrichmentFailures() const;

    // Field reports. Changes fail while there is no receiver.
    /// Null for none; it must stay until another is set.
    void setFieldReportReceiver(FieldReportReceiver* receiver);
    /// What the receiver found.
    void setFieldReports(std::vector<NookeryReceivedFieldReport> reports);
    SaveFailure renameFieldReport(const NookeryReceivedFieldReport& report,
                                  const std::string& title);
    SaveFailure deleteFieldReport(const NookeryReceivedFieldReport& report);

    /// Null with reading access or when the library could not be opened.
    CrumbRecoverySnapshots* recoverySnapshots() const;

  private:
    class Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace nookery
