#pragma once

#include <memory>
#include <optional>

#include "collection/store/CrumbStore.h"
#include "fieldreports/NookeryFieldReportReceiver.h"
#include "mobilelink/PhoneLink.h"
#include "platform/work/Coroutine.h"
#include "workspace/Edits.h"
#include "workspace/Facets.h"
#include "workspace/Problems.h"
#include "workspace/Receipts.h"
#include "workspace/ReportEdits.h"
#include "workspace/ThumbnailCache.h"
#include "workspace/history/History.h"
#include "workspace/history/ReportValues.h"

namespace nookery {

/// One library with what a face of the program does with it: the store, what a person changes and
/// takes back, what the phone sends and is sent, and what went wrong. Main thread.
///
/// It is opened once. For a restore a face closes it, from when on every change is refused,
/// destroys what observes it and then it, has the restore carried out under the library's lock
/// (`beginSnapshotRestore`, or `completeWaitingRestores` for an archive that was prepared), and
/// opens a new one, which announces everything anew. Nothing of the old state can be mistaken for
/// the new that way.
class Workspace {
  public:
    /// `problems` is the platform's log, and outlives this.
    Workspace(const Platform& platform, LibraryLayout layout, ProblemLog& problems);
    /// What was not closed is given up where it is whole, and waits for the next start.
    ~Workspace();

    /// As CrumbStore::open. A lasting session also brings in what the phone uploads as field
    /// reports, publishes to it, and takes in its edits. Call once.
    OperationPointer<Nothing> open(LibraryAccess access, SessionLength length,
                                   LibraryExtent extent = LibraryExtent::index);
    /// Ends what a lasting session began, in the reverse order, then closes the store. What is
    /// shown stays as it is.
    OperationPointer<Nothing> close();

    CrumbStore& store() { return *store_; }
    Edits& edits() { return *edits_; }
    Receipts& receipts() { return *receipts_; }
    ReportEdits& reportEdits() { return *reportEdits_; }
    History& history() { return *history_; }
    /// What earlier sessions left is read at the first call.
    Problems& problems();
    /// Counted from the first call on.
    Facets& facets();
    ThumbnailCache& thumbnails();
    /// The link with the phone, which a lasting session has started.
    PhoneLink& link();

  private:
    void createParts(LibraryAccess access);
    void becomeLasting();
    void reloadReports();
    Coroutine<> ending();
    Coroutine<> whenIdle(const Published<bool>& isBusy);

    const Platform& platform_;
    LibraryLayout layout_;
    ProblemLog& problemLog_;
    std::unique_ptr<CrumbStore> store_;
    std::unique_ptr<History> history_;
    std::unique_ptr<Edits> edits_;
    std::unique_ptr<Receipts> receipts_;
    std::unique_ptr<ReportValues> reportValues_;
    std::unique_ptr<ReportEdits> reportEdits_;
    std::unique_ptr<Problems> problems_;
    bool areProblemsLoaded_ = false;
    std::unique_ptr<Facets> facets_;
    std::unique_ptr<ThumbnailCache> thumbnails_;
    std::unique_ptr<NookeryFieldReportReceiver> receiver_;
    std::unique_ptr<PhoneLink> link_;
    OperationPointer<Nothing> closing_;
    std::optional<Coroutine<>> ending_;
    CallbackGuard guard_;
};

}  // namespace nookery
