#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "collection/capture/CaptureService.h"
#include "collection/capture/JsonLinesImport.h"
#include "collection/enrichment/Enrichment.h"
#include "collection/safety/CrumbRecoverySnapshots.h"
#include "collection/safety/SnapshotRestore.h"
#include "collection/store/FieldReportEdits.h"
#include "collection/store/GroupEdits.h"
#include "collection/store/Inboxes.h"
#include "collection/store/LibraryContents.h"
#include "collection/store/LibraryWriter.h"
#include "collection/store/MemoryEdits.h"
#include "collection/store/MemoryQueries.h"
#include "collection/store/MemoryRemover.h"
#include "collection/store/MemoryReturn.h"
#include "collection/store/SearchSession.h"
#include "collection/store/Selection.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"

namespace nookery {

struct LibraryOpening;

/// One command leaves enrichment and due snapshots to a later, lasting session; a lasting one takes
/// its launch snapshot and begins the background work at the end of its start.
enum class SessionLength { oneCommand, lasting };

/// The one owner of the library while the program runs: the published state that every view
/// observes, and the one connection that writes the collection database. It owns, and delegates:
/// LibraryOpener opens, LibraryWriter writes, MemoryRemover removes, Enrichment reads originals,
/// Inboxes take in what arrives. Main thread only. Every change to a published field is announced.
class CrumbStore final : private LibraryEvents {
  public:
    CrumbStore(const Platform& platform, LibraryLayout layout, LibraryAccess access);
    /// What was not closed is given up where it is whole, and waits for the next start.
    ~CrumbStore() override;

    /// Opens the library and loads it, in the order that start-up has, away from the main thread;
    /// until then the lists are empty and every change is refused. With writing access fails with
    /// LibraryInUse when another process owns the library, and with RestoreError when a restore
    /// that was interrupted can neither be finished nor undone; a database that cannot be opened is
    /// logged and leaves an empty library that refuses every save. Call once.
    ///
    /// A lesser extent opens faster, and goes with one command only. What would need more throws
    /// std::logic_error then: the list of all memories, rich texts, the background work, searching.
    OperationPointer<Nothing> open(SessionLength length,
                                   LibraryExtent extent = LibraryExtent::index);
    /// Ends everything that runs where it is whole, makes what came of it durable, and lets go of
    /// the databases and the lock. Changes are refused from now on; the lists stay as they are.
    OperationPointer<Nothing> close();
    /// Why the library could not be opened or loaded; none when all is well. A caller that shows
    /// an empty library must show this too.
    const std::optional<std::string>& startFailure() const { return startFailure_; }
    /// What became of a restore that waited for this start, to be shown once; none when none did.
    const std::optional<RestoreNotice>& restoreNotice() const { return restoreNotice_; }

    // Published state.
    const Published<CrumbItemList>& items() const;  ///< newest first
    /// What the latest change did to `items`; announced before them.
    const Published<MemoryListChange>& itemChanges() const { return contents_.memories.changes(); }
    const Published<std::vector<CrumbGroup>>& groups() const;  ///< oldest first
    const Published<std::string>& searchText() const { return search_.text(); }
    const Published<CrumbItemList>& filteredItems() const { return filteredItems_; }
    /// The same with hints, scores, excerpts and counts.
    const Published<SearchResultPointer>& searchResult() const { return search_.result(); }
    const Published<std::unordered_map<Uuid, std::string>>& retrievalHints() const {
        return retrievalHints_;
    }
    const Published<std::optional<Uuid>>& selectedID() const { return selection_.focus(); }
    const Published<std::set<Uuid>>& selectedIDs() const { return selection_.all(); }
    const Published<int>& importCountInProgress() const { return importCountInProgress_; }
    const Published<int>& inboxImportCount() const { return inboxImportCount_; }
    const Published<int>& cloudImportCount() const { return cloudImportCount_; }
    /// Memories whose enrichment waits or runs.
    const Published<int>& indexingCount() const { return indexingCount_; }
    const Published<RichTexts>& richTextByID() const;
    const Published<std::optional<IntakeNotice>>& intakeNotice() const { return intakeNotice_; }
    const Published<std::map<Uuid, Timestamp>>& bringBackDates() const;
    const Published<std::set<Uuid>>& broughtBackIDs() const;
    const Published<std::optional<BringBackNotice>>& bringBackNotice() const;
    const Published<int>& faceDataRevision() const { return faceDataRevision_; }
    const Published<std::vector<NookeryReceivedFieldReport>>& fieldReports() const {
        return fieldReportEdits_.reports();
    }

    // Looking things up.
    CrumbItemPointer item(const Uuid& id) const;            ///< null when there is none
    std::vector<std::string> tagsOf(const Uuid& id) const;  ///< hashtags and manual ones, sorted
    std::string groupNameOf(const CrumbItem& item) const;
    const MemoryAnnotations& annotations() const { return contents_.annotations; }
    const RetrievalEngine& retrieval() const;
    /// What needs no list of all memories.
    const MemoryQueries& queries() const { return queries_; }

    // Additions.
    /// As CaptureService::capture.
    OperationPointer<CaptureReport> capture(CaptureRequest request);
    /// As startImport.
    OperationPointer<ImportReport> import(std::unique_ptr<ReadableFile> file,
                                          BeforeCommit beforeCommit = {});
    /// Complete records with new ids from elsewhere, saved in one transaction. Nothing is
    /// added when that fails; when only the tags cannot be saved, the memories are in.
    void addRecords(const CrumbItemList& records, const TagsByID& tagsByID, Saved saved);

    // The parts that have contracts of their own.
    /// The main list's search, whose state is published above.
    SearchSession& search();
    /// One of its own for another view. Must not outlive the store.
    std::unique_ptr<SearchSession> newSearchSession() const;
    Selection& selection() { return selection_; }
    MemoryEdits& memoryEdits() { return memoryEdits_; }
    GroupEdits& groupEdits() { return groupEdits_; }
    FieldReportEdits& fieldReportEdits() { return fieldReportEdits_; }
    /// What it does is nothing while the library is not open for writing.
    Enrichment& enrichment();
    // These throw Error unless the library was opened for writing, and could be.
    MemoryRemover& remover();
    Inboxes& inboxes();
    MemoryReturn& memoryReturn();
    CrumbRecoverySnapshots& recoverySnapshots();
    Sidecar& sidecar();

    /// As LibraryWriter::changeSidecar: does nothing while the library is not open for writing.
    void changeSidecar(const std::function<void(Sidecar&)>& change) {
        writer_.changeSidecar(change);
    }

    /// Whether the library is open for changes.
    SaveFailure refusal() const { return writer_.refusal(); }

  private:
    void load(SessionLength length, LibraryExtent extent, const LibraryOpening& opening,
              const OperationPointer<Nothing>& operation);
    void createServices();
    void becomeOpen(SessionLength length, const LibraryOpening& opening);
    void demandRecords() const;
    void demandIndex() const;
    void tellOpening();
    void prepareVersions();
    void showFound(const SearchResult& result);
    void endServices();
    void closeDatabases();
    /// What a pointer or an optional holds.
    template <typename Held>
    auto& demand(Held& service) const;

    void memoriesAdded(const CrumbItemList& added) override;
    void memoriesReturned(const CrumbItemList& returned,
                          const std::unordered_set<Uuid>& embedded) override;
    void memoriesEdited(const std::vector<Uuid>& ids) override;
    void memoriesRemoved(const std::unordered_set<Uuid>& ids) override;
    void libraryCleared() override;
    void removalEnded() override;
    void intakeNoticed(const IntakeNotice& notice) override { intakeNotice_.set(notice); }
    void intakeCounted(IntakeRoad road, int count) override;

    LibraryContents contents_;
    MemoryQueries queries_{contents_};
    std::optional<std::string> startFailure_;
    std::optional<RestoreNotice> restoreNotice_;
    LibraryWriter writer_;
    MemoryEdits memoryEdits_;
    GroupEdits groupEdits_;
    FieldReportEdits fieldReportEdits_;
    Selection selection_;
    Published<int> importCountInProgress_{0};
    Published<int> inboxImportCount_{0};
    Published<int> cloudImportCount_{0};
    Published<int> indexingCount_{0};
    Published<int> faceDataRevision_{0};
    Published<std::optional<IntakeNotice>> intakeNotice_;
    SearchSession search_;
    Published<CrumbItemList> filteredItems_;
    Published<std::unordered_map<Uuid, std::string>> retrievalHints_;
    Subscription searchResult_;
    OperationPointer<Nothing> opening_;
    OperationPointer<Nothing> closing_;
    Subscription revision_;
    Subscription enrichmentCount_;
    Subscription lastEnrichment_;  ///< while the store waits for its end, to close
    // None until the databases are open.
    std::unique_ptr<CrumbRecoverySnapshots> recoverySnapshots_;
    std::unique_ptr<Enrichment> enrichment_;
    std::unique_ptr<CaptureService> capture_;
    std::unique_ptr<Inboxes> inboxes_;
    std::unique_ptr<MemoryRemover> remover_;
    std::unique_ptr<MemoryReturn> memoryReturn_;
    CallbackGuard guard_;
};

}  // namespace nookery
