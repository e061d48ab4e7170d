#include "collection/store/CrumbStore.h"

#include <stdexcept>
#include <utility>

#include "collection/store/LibraryOpener.h"
#include "platform/Log.h"
#include "platform/Problem.h"
#include "platform/work/Task.h"
#include "retrieval/text/Hashtags.h"

namespace nookery {
namespace {

/// Of a step that was stopped or failed.
Outcome<Nothing> withoutResult(const Outcome<LibraryOpening>& outcome) {
    const Failure* failure = outcome.failure();
    return failure == nullptr ? Outcome<Nothing>::stopped() : Outcome<Nothing>::failed(*failure);
}

}  // namespace

CrumbStore::CrumbStore(const Platform& platform, LibraryLayout layout, LibraryAccess access)
    : contents_(platform, std::move(layout), access),
      writer_(contents_, *this),
      memoryEdits_(writer_),
      groupEdits_(contents_, writer_),
      search_(contents_) {
    revision_ = contents_.revision.subscribe([this](std::uint64_t) {
        if (recoverySnapshots_) recoverySnapshots_->recordChange();
    });
    searchResult_ = search_.result().subscribe(
        [this](const SearchResultPointer& result) { showFound(*result); });
}

CrumbStore::~CrumbStore() {
    if (inboxes_) inboxes_->stop();
}

OperationPointer<Nothing> CrumbStore::open(SessionLength length, LibraryExtent extent) {
    if (length == SessionLength::lasting && extent != LibraryExtent::index) {
        throw std::logic_error("A lasting session needs the whole library.");
    }
    WorkQueue& mainQueue = contents_.platform.mainQueue;
    auto operation = Operation<Nothing>::create(mainQueue);
    opening_ = operation;
    const auto opening = LibraryOpener::openDatabases(contents_);
    opening->whenFinished(
        guard_.guarded([this, length, extent, operation](const Outcome<LibraryOpening>& outcome) {
            if (!outcome.isDone()) return operation->finish(withoutResult(outcome));
            load(length, extent, outcome.get(), operation);
        }));
    return operation;
}

/// The launch snapshot is looked after as soon as the database is open; it does not wait for the
/// loading, nor the loading for it.
void CrumbStore::load(SessionLength length, LibraryExtent extent, const LibraryOpening& opening,
                      const OperationPointer<Nothing>& operation) {
    restoreNotice_ = opening.restoreNotice;
    if (opening.databases->sidecar) {
        recoverySnapshots_ =
            std::make_unique<CrumbRecoverySnapshots>(contents_.platform, contents_.layout);
    }
    if (length == SessionLength::lasting && recoverySnapshots_) {
        recoverySnapshots_->checkAtLaunch();
    }
    const auto loading = LibraryOpener::load(contents_, guard_, opening, extent);
    const auto following = std::make_shared<Subscription>(
        loading->progress().subscribe([operation](const auto& progress) {
            if (progress) operation->control().report(*progress);
        }));
    loading->whenFinished(guard_.guarded(
        [this, length, operation, following](const Outcome<LibraryOpening>& outcome) {
            following->reset();
            if (!outcome.isDone()) return operation->finish(withoutResult(outcome));
            becomeOpen(length, outcome.get());
            operation->finish(Outcome<Nothing>::done({}));
        }));
}

void CrumbStore::createServices() {
    const Platform& platform = contents_.platform;
    Sidecar* sidecar = contents_.sidecar ? &*contents_.sidecar : nullptr;
    enrichment_ = std::make_unique<Enrichment>(platform, contents_.layout, writer_, sidecar);
    enrichmentCount_ =
        enrichment_->waitingCount().subscribe([this](int count) { indexingCount_.set(count); });
    if (!contents_.database || sidecar == nullptr || !recoverySnapshots_) return;
    capture_ = std::make_unique<CaptureService>(platform, contents_.layout, *sidecar, writer_);
    inboxes_ = std::make_unique<Inboxes>(platform, contents_.layout, *sidecar, writer_, *capture_);
    LibraryEvents& events = *this;
    remover_ = std::make_unique<MemoryRemover>(contents_, writer_, events, *recoverySnapshots_);
    memoryReturn_ = std::make_unique<MemoryReturn>(contents_, writer_);
}

void CrumbStore::becomeOpen(SessionLength length, const LibraryOpening& opening) {
    startFailure_ = opening.failure;
    tellOpening();
    createServices();
    writer_.gate().setOpen(true);
    enrichment_->resume(opening.backlog);
    if (contents_.retrieval) search_.setText("");
    if (length == SessionLength::oneCommand) return;
    // A library that is not whole takes nothing in: what it holds could not be recognised.
    if (inboxes_ && !startFailure_) inboxes_->start();
    enrichment_->start();
    prepareVersions();
}

void CrumbStore::tellOpening() {
    Log& log = contents_.platform.log;
    const ProblemSubject subject{ProblemKind::opening, contents_.layout.library(), {}};
    if (!startFailure_) return log.mended(subject);
    log.report({subject, *startFailure_,
                "\"nookery verify\" says what is damaged; a recovery snapshot can be restored."});
}

/// Piece by piece, between whatever else the main thread has to do.
void CrumbStore::prepareVersions() {
    if (!contents_.retrieval->prepareVersions()) return;
    contents_.platform.mainQueue.async(guard_.guarded([this] { prepareVersions(); }));
}

void CrumbStore::showFound(const SearchResult& result) {
    CrumbItemList items;
    std::unordered_map<Uuid, std::string> hints;
    items.reserve(result.hits.size());
    for (const SearchHit& hit : result.hits) {
        items.push_back(hit.item);
        if (!hit.hint.empty()) hints.emplace(hit.item->id, hit.hint);
    }
    filteredItems_.set(std::move(items));
    retrievalHints_.set(std::move(hints));
}

std::unique_ptr<SearchSession> CrumbStore::newSearchSession() const {
    demandIndex();
    return std::make_unique<SearchSession>(contents_);
}

OperationPointer<Nothing> CrumbStore::close() {
    if (closing_) return closing_;
    closing_ = Operation<Nothing>::create(contents_.platform.mainQueue);
    // What is being opened is closed when it is open; and whoever asked is done by then.
    const std::function<void()> begin = guard_.guarded([this] { endServices(); });
    const auto later = [&mainQueue = contents_.platform.mainQueue, begin] {
        mainQueue.async(begin);
    };
    if (opening_) {
        opening_->whenEnded(later);
    } else {
        later();
    }
    return closing_;
}

void CrumbStore::endServices() {
    writer_.gate().setOpen(false);
    inboxes_.reset();
    remover_.reset();
    memoryReturn_.reset();
    capture_.reset();
    if (!enrichment_) return closeDatabases();
    enrichment_->pause();
    if (!enrichment_->isUnderWay()) return closeDatabases();
    lastEnrichment_ = enrichment_->underWayCount().subscribe([this](int count) {
        if (count > 0) return;
        contents_.platform.mainQueue.async(guard_.guarded([this] { closeDatabases(); }));
    });
}

/// What other threads were given runs to its end first; closing a database may write.
void CrumbStore::closeDatabases() {
    lastEnrichment_.reset();
    enrichmentCount_.reset();
    enrichment_.reset();
    recoverySnapshots_.reset();
    const auto databases = std::make_shared<OpenedDatabases>(
        OpenedDatabases{std::exchange(contents_.lock, {}), std::exchange(contents_.database, {}),
                        std::exchange(contents_.sidecar, {})});
    const auto letGo = [platform = contents_.platform, databases, operation = closing_](auto) {
        Task::run(
            platform.filesQueue, platform.mainQueue,
            [databases] {
                databases->database.reset();
                databases->sidecar.reset();
                databases->lock.reset();
            },
            [operation](Outcome<Nothing> outcome) { operation->finish(std::move(outcome)); });
    };
    const auto afterCapture = [platform = contents_.platform, letGo](auto) {
        Task::run(
            platform.snapshotQueue, platform.mainQueue, [] {}, letGo);
    };
    Task::run(
        contents_.platform.captureQueue, contents_.platform.mainQueue, [] {}, afterCapture);
}

const Published<CrumbItemList>& CrumbStore::items() const { return contents_.memories.all(); }
const Published<std::vector<CrumbGroup>>& CrumbStore::groups() const { return contents_.groups; }

const Published<std::map<Uuid, Timestamp>>& CrumbStore::bringBackDates() const {
    return contents_.annotations.bringBackDates();
}

const Published<std::set<Uuid>>& CrumbStore::broughtBackIDs() const {
    return contents_.annotations.broughtBackIDs();
}

const Published<std::optional<BringBackNotice>>& CrumbStore::bringBackNotice() const {
    return contents_.annotations.bringBackNotice();
}

CrumbItemPointer CrumbStore::item(const Uuid& id) const { return contents_.memories.find(id); }

std::vector<std::string> CrumbStore::tagsOf(const Uuid& id) const {
    const auto item = contents_.memories.find(id);
    if (!item) return {};
    return allTags(item->title, item->note, contents_.annotations.manualTags(id));
}

void CrumbStore::demandRecords() const {
    if (contents_.hasRecords()) return;
    throw std::logic_error("The library was opened without all that its records have.");
}

void CrumbStore::demandIndex() const {
    if (!contents_.retrieval) throw std::logic_error("The library was opened without an index.");
}

const Published<RichTexts>& CrumbStore::richTextByID() const {
    demandRecords();
    return contents_.richTextByID;
}

const RetrievalEngine& CrumbStore::retrieval() const {
    demandIndex();
    return *contents_.retrieval;
}

SearchSession& CrumbStore::search() {
    demandIndex();
    return search_;
}

std::string CrumbStore::groupNameOf(const CrumbItem& item) const {
    return contents_.groupName(item.groupID);
}

OperationPointer<CaptureReport> CrumbStore::capture(CaptureRequest request) {
    if (capture_) return capture_->capture(std::move(request));
    SaveFailure refused = writer_.refusal();
    if (!refused) refused = writer_.unavailable();
    return Operation<CaptureReport>::ended(
        contents_.platform.mainQueue,
        Outcome<CaptureReport>::failed({refused.message(), refused.advice(), {}}));
}

OperationPointer<ImportReport> CrumbStore::import(std::unique_ptr<ReadableFile> file,
                                                  BeforeCommit beforeCommit) {
    return startImport(contents_.platform, writer_, std::move(file), std::move(beforeCommit));
}

void CrumbStore::addRecords(const CrumbItemList& records, const TagsByID& tagsByID, Saved saved) {
    writer_.addRecords(records, tagsByID,
                       [saved = std::move(saved)](const Library::Committed& committed) {
                           saved(committed.problem);
                       });
}

template <typename Held>
auto& CrumbStore::demand(Held& service) const {
    if (service) return *service;
    if (contents_.access == LibraryAccess::reading) {
        throw Error("The library was opened for reading only.");
    }
    throw Error(startFailure_.value_or("The library is not open."));
}

Enrichment& CrumbStore::enrichment() {
    demandRecords();
    return demand(enrichment_);
}
MemoryRemover& CrumbStore::remover() { return demand(remover_); }
MemoryReturn& CrumbStore::memoryReturn() { return demand(memoryReturn_); }
Inboxes& CrumbStore::inboxes() { return demand(inboxes_); }
CrumbRecoverySnapshots& CrumbStore::recoverySnapshots() { return demand(recoverySnapshots_); }
Sidecar& CrumbStore::sidecar() { return demand(contents_.sidecar); }

void CrumbStore::memoriesAdded(const CrumbItemList& added) {
    if (capture_) capture_->remember(added);
    enrichment_->added(added);
}

void CrumbStore::memoriesReturned(const CrumbItemList& returned,
                                  const std::unordered_set<Uuid>& embedded) {
    if (capture_) capture_->remember(returned);
    enrichment_->resume(findBacklog(returned, {}, embedded));
}

void CrumbStore::memoriesEdited(const std::vector<Uuid>& ids) { enrichment_->edited(ids); }

void CrumbStore::memoriesRemoved(const std::unordered_set<Uuid>& ids) {
    enrichment_->removed(ids);
    if (capture_) capture_->forgetRemoved();
    selection_.forget(ids);
}

void CrumbStore::libraryCleared() {
    enrichment_->cleared();
    if (capture_) capture_->forgetRemoved();
    selection_.clear();
    intakeNotice_.set(std::nullopt);
}

void CrumbStore::removalEnded() { enrichment_->removalEnded(); }

void CrumbStore::intakeCounted(IntakeRoad road, int count) {
    switch (road) {
        case IntakeRoad::capture:
            return importCountInProgress_.set(count);
        case IntakeRoad::localInbox:
            return inboxImportCount_.set(count);
        case IntakeRoad::cloudInbox:
            return cloudImportCount_.set(count);
    }
}

}  // namespace nookery
