#include "collection/capture/CaptureService.h"

#include <algorithm>
#include <set>
#include <unordered_set>
#include <utility>

#include "collection/capture/CaptureWork.h"
#include "collection/database/Sidecar.h"
#include "collection/originals/OriginalNames.h"
#include "platform/Log.h"
#include "platform/work/Caller.h"

namespace nookery {

/// The contents, links and names that the accepted entries of a batch have reserved.
struct CaptureReservations {
    std::set<Sha256Digest> digests;
    std::unordered_set<std::string> links;
    std::set<Path> names;

    void add(const CaptureEntry& entry) {
        if (entry.original) digests.insert(entry.original->digest);
        if (!entry.linkIdentity.empty()) links.insert(entry.linkIdentity);
        if (entry.finalName) names.insert(*entry.finalName);
    }
    /// The same material is on its way in this batch: whether it arrives decides what the entry is.
    bool hasTwinOf(const CaptureEntry& entry) const {
        return entry.original ? digests.contains(entry.original->digest)
                              : links.contains(entry.linkIdentity);
    }
};

/// One request while it waits and runs. Main thread, but for `work`, which is the capture queue's.
struct CaptureService::Job {
    std::shared_ptr<CaptureWork> work;
    OperationPointer<CaptureReport> operation;
    BeforeCommit beforeCommit{};
    std::shared_ptr<const Caller> caller = CallerScope::current();
    CaptureReport report{};
    std::size_t doneCount = 0;
    std::size_t foundCount = 0;

    bool isStopped() const { return operation->control().isStopRequested(); }
};

namespace {

using Stage = CaptureEntry::Stage;

constexpr int mostNamesTried = 20;

/// As the sidecar names originals.
Path relativePath(const Path& name) { return Path("Items") / name; }

bool hasOpenEntries(const CaptureBatch& batch) {
    return std::any_of(batch.entries.begin(), batch.entries.end(),
                       [](const CaptureEntry& entry) { return entry.isOpen(); });
}

/// Whether the entry is compared with what the index knows. A text has nothing to be known by.
bool needsIndex(const CaptureEntry& entry) {
    return entry.isOpen() && (entry.original || !entry.linkIdentity.empty());
}

}  // namespace

CaptureService::CaptureService(const Platform& platform, LibraryLayout layout, Sidecar& sidecar,
                               Library& library)
    : platform_(platform), layout_(std::move(layout)), sidecar_(sidecar), library_(library) {}

CaptureService::~CaptureService() {
    const auto jobs = std::move(jobs_);
    for (const auto& job : jobs) job->operation->stop();
    for (const auto& job : jobs) job->operation->finish(Outcome<CaptureReport>::stopped());
}

OperationPointer<CaptureReport> CaptureService::capture(CaptureRequest request) {
    if (const SaveFailure refused = library_.refusal()) {
        return Operation<CaptureReport>::ended(
            platform_.mainQueue,
            Outcome<CaptureReport>::failed({refused.message(), refused.advice(), {}}));
    }
    auto job = std::make_unique<Job>();
    job->operation = Operation<CaptureReport>::create(platform_.mainQueue);
    job->beforeCommit = std::exchange(request.beforeCommit, {});
    job->work = std::make_shared<CaptureWork>(platform_, layout_, std::move(request),
                                              job->operation->control().stopToken());
    const auto operation = job->operation;
    jobs_.push_back(std::move(job));
    if (jobs_.size() == 1) beginNext();
    return operation;
}

void CaptureService::remember(std::span<const CrumbItemPointer> added) {
    if (index_) {
        for (const auto& item : added) index_->add(*item);
    } else if (indexIsBeingBuilt_) {
        addedMeanwhile_.insert(addedMeanwhile_.end(), added.begin(), added.end());
    }
}

/// The index is built anew when it is next needed: what a removed memory had hidden comes to light
/// again.
void CaptureService::forgetRemoved() {
    index_.reset();
    removedMeanwhile_ = true;
}

/// Runs the work on the capture queue, then the reply here. Work that fails as a whole ends its
/// request, and the next one has its turn.
template <typename Work, typename Reply>
void CaptureService::onCaptureQueue(const Batch& batch, Work work, Reply reply) {
    Task::run(platform_.captureQueue, platform_.mainQueue, guard_, std::move(work),
              [this, batch, reply = std::move(reply)](auto outcome) mutable {
                  if (outcome.isDone()) return reply(std::move(outcome.get()));
                  const Failure* failure = outcome.failure();
                  giveUp(batch, failure != nullptr ? *failure : Failure{"It was stopped.", {}, {}});
              });
}

/// For its own caller, whoever's request ended just now.
void CaptureService::beginNext() {
    if (jobs_.empty()) return;
    const CallerScope scope(jobs_.front()->caller);
    gather();
}

void CaptureService::gather() {
    auto batch = std::make_shared<CaptureBatch>();
    onCaptureQueue(
        batch, [work = jobs_.front()->work, batch] { *batch = work->gather(); },
        [this, batch](Nothing) { prepareIndex(batch); });
}

/// The index of a large library takes a while to build, so that is done on the capture queue, over
/// the memories there are now; what is added or removed meanwhile follows.
void CaptureService::prepareIndex(const Batch& batch) {
    const auto& entries = batch->entries;
    if (index_ || std::none_of(entries.begin(), entries.end(), needsIndex)) return decide(batch);
    indexIsBeingBuilt_ = true;
    removedMeanwhile_ = false;
    onCaptureQueue(
        batch, [readAll = library_.allReader()] { return IntakeIndex(readAll()); },
        [this, batch](IntakeIndex index) {
            indexIsBeingBuilt_ = false;
            if (removedMeanwhile_) addedMeanwhile_.clear();
            if (removedMeanwhile_) return prepareIndex(batch);
            index_ = std::move(index);
            remember(std::exchange(addedMeanwhile_, {}));
            decide(batch);
        });
}

void CaptureService::decide(const Batch& batch) {
    Job& job = *jobs_.front();
    job.foundCount = batch->foundCount;
    tellProgress();
    if (!job.isStopped()) accept(*batch);
    onCaptureQueue(
        batch, [work = job.work, batch] { work->settle(*batch); },
        [this, batch](Nothing) { commit(batch); });
}

void CaptureService::accept(CaptureBatch& batch) {
    withdrawNames(batch);
    CaptureReservations reservations;
    for (const CaptureEntry& entry : batch.entries) {
        if (entry.stage == Stage::accepted) reservations.add(entry);
    }
    try {
        for (CaptureEntry& entry : batch.entries) acceptEntry(entry, reservations);
        recordNames(batch);
    } catch (const Error& error) {
        for (CaptureEntry& entry : batch.entries) {
            if (entry.isOpen()) entry.fail(error.description());
        }
    }
}

void CaptureService::acceptEntry(CaptureEntry& entry, CaptureReservations& reservations) {
    if (entry.stage != Stage::gathered && entry.stage != Stage::nameTaken) return;
    if (reservations.hasTwinOf(entry)) return;
    if (const auto known = knownTwin(entry)) {
        entry.stage = Stage::duplicate;
        entry.duplicateOf = *known;
        return;
    }
    if (entry.original) {
        if (++entry.namesTried > mostNamesTried) {
            entry.fail("Its name in the library is always taken. Add it under another name.");
            return;
        }
        entry.finalName = freeName(entry.wishedName,
                                   [&](const Path& name) { return isTaken(name, reservations); });
    }
    entry.stage = Stage::accepted;
    reservations.add(entry);
}

/// A name that the sidecar knows is taken even when its file is missing: a memory waits for it.
bool CaptureService::isTaken(const Path& name, const CaptureReservations& reservations) const {
    return reservations.names.contains(name) || platform_.files.status(layout_.items() / name) ||
           sidecar_.original(relativePath(name));
}

std::optional<Uuid> CaptureService::knownTwin(const CaptureEntry& entry) const {
    if (entry.original) return knownOriginal(*entry.original);
    if (entry.linkIdentity.empty() || !index_) return std::nullopt;
    const auto known = index_->linkWithIdentity(entry.linkIdentity);
    return known && !library_.isClosed(*known) ? known : std::nullopt;
}

/// A memory that is being removed, or whose own original is gone or was changed, does not make a
/// newcomer superfluous.
std::optional<Uuid> CaptureService::knownOriginal(const OriginalCopy& original) const {
    for (const OriginalFact& fact : sidecar_.originalsWithDigest(original.digest)) {
        // A file inside a folder original belongs to that memory; it is not a memory itself.
        if (fact.relativePath != relativePath(fact.relativePath.filename())) continue;
        if (!library_.find(fact.memoryID) || library_.isClosed(fact.memoryID)) continue;
        const auto status = platform_.files.status(layout_.library() / fact.relativePath);
        if (status && status->byteCount == fact.byteCount) return fact.memoryID;
    }
    return std::nullopt;
}

/// Durable before any file gets its name, so that a file without a record is always known.
void CaptureService::recordNames(const CaptureBatch& batch) {
    std::vector<Path> names;
    std::vector<OriginalFact> facts;
    for (const CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::accepted || !entry.finalName) continue;
        const OriginalCopy& original = *entry.original;
        names.push_back(relativePath(*entry.finalName));
        facts.push_back({names.back(), entry.memory.item.id, original.digest,
                         original.marks.byteCount, original.marks.modifiedNanoseconds});
    }
    if (names.empty()) return;
    sidecar_.addPendingOriginals(names);
    sidecar_.recordOriginals(facts);
    sidecar_.makeDurable();
}

/// Takes back the names noted for entries that do not bear them.
void CaptureService::withdrawNames(CaptureBatch& batch) {
    std::vector<Path> names;
    for (CaptureEntry& entry : batch.entries) {
        const bool bearsName = entry.stage == Stage::accepted || entry.stage == Stage::ready ||
                               entry.stage == Stage::added || entry.leftBehind;
        if (bearsName || !entry.finalName) continue;
        names.push_back(relativePath(*entry.finalName));
        entry.finalName.reset();
    }
    if (names.empty()) return;
    try {
        sidecar_.forgetOriginals(names);
        sidecar_.removePendingOriginals(names);
    } catch (const Error& error) {
        platform_.log.line("NOOKERY capture note error: " + error.description());
    }
}

void CaptureService::commit(const Batch& batch) {
    findOtherVersions(*batch);
    std::vector<NewMemory> ready;
    for (CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::ready) ready.push_back(std::move(entry.memory));
    }
    if (ready.empty()) return closeRound(batch);
    const auto memories = std::make_shared<std::vector<NewMemory>>(std::move(ready));
    if (SaveFailure failure = tellBeforeCommit(jobs_.front()->beforeCommit, *memories)) {
        return finishCommit(batch, std::move(*memories), {false, failure});
    }
    library_.add(*memories,
                 guard_.guarded([this, batch, memories](const Library::Committed& committed) {
                     finishCommit(batch, std::move(*memories), committed);
                 }));
}

void CaptureService::finishCommit(const Batch& batch, std::vector<NewMemory> ready,
                                  const Library::Committed& committed) {
    auto next = ready.begin();
    for (CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::ready) entry.memory = std::move(*next++);
    }
    if (committed.isKept) {
        markAdded(*batch, committed);
        return closeRound(batch);
    }
    forgetRemoved();
    for (CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::ready) entry.fail(committed.problem.text());
    }
    onCaptureQueue(
        batch, [work = jobs_.front()->work, batch] { work->discard(*batch); },
        [this, batch](Nothing) { closeRound(batch); });
}

void CaptureService::findOtherVersions(CaptureBatch& batch) {
    for (CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::ready || !index_) continue;
        if (entry.finalName) entry.otherVersion = index_->otherVersionOf(*entry.finalName);
        index_->add(entry.memory.item);
    }
}

void CaptureService::markAdded(CaptureBatch& batch, const Library::Committed& committed) {
    std::vector<Path> names;
    for (CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::ready) continue;
        entry.stage = Stage::added;
        if (committed.problem && entry.message.empty()) entry.message = committed.problem.text();
        if (entry.finalName) names.push_back(relativePath(*entry.finalName));
    }
    // After a problem the notes stay, in case that the records do not survive a power cut.
    if (names.empty() || committed.problem) return;
    try {
        sidecar_.removePendingOriginals(names);
    } catch (const Error& error) {
        // The next start finds that their records exist, and takes the notes away.
        platform_.log.line("NOOKERY capture note error: " + error.description());
    }
}

void CaptureService::closeRound(const Batch& batch) {
    if (hasOpenEntries(*batch) && !jobs_.front()->isStopped()) {
        prepareIndex(batch);
    } else {
        finishBatch(batch);
    }
}

void CaptureService::finishBatch(const Batch& batch) {
    Job& job = *jobs_.front();
    if (hasOpenEntries(*batch) || (job.isStopped() && !batch->isLast)) {
        job.report.cancelled = true;
        for (CaptureEntry& entry : batch->entries) {
            // Nothing of it is left but a name in the sidecar.
            if (entry.isOpen()) entry.stage = Stage::dropped;
        }
    }
    withdrawNames(*batch);
    std::optional<IntakeNotice> notice;
    for (const CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::dropped) continue;
        report(entry);
        ++job.doneCount;
        const bool isNotable = entry.stage == Stage::added || entry.stage == Stage::duplicate;
        if (isNotable) notice = noticeOf(entry);
    }
    if (notice) library_.announce(*notice);
    tellProgress();
    if (batch->isLast || job.report.cancelled) {
        finishJob();
    } else {
        gather();
    }
}

void CaptureService::tellProgress() const {
    const Job& job = *jobs_.front();
    library_.setIntakeCount(IntakeRoad::capture, static_cast<int>(job.foundCount - job.doneCount));
    job.operation->control().report({"taking in", job.doneCount, job.foundCount});
}

void CaptureService::report(const CaptureEntry& entry) {
    CaptureReport& report = jobs_.front()->report;
    const bool isDuplicate = entry.stage == Stage::duplicate;
    if (entry.origin && (isDuplicate || entry.stage == Stage::added)) {
        CaptureOrigin origin = *entry.origin;
        origin.memoryID = isDuplicate ? entry.duplicateOf : entry.memory.item.id;
        origin.wasKnown = isDuplicate;
        report.origins.push_back(std::move(origin));
    }
    switch (entry.stage) {
        case Stage::added:
            report.added.push_back(entry.memory.item.id);
            if (!entry.message.empty()) report.warnings.push_back({entry.source, entry.message});
            if (entry.otherVersion) {
                report.versions.push_back({entry.memory.item.id, *entry.otherVersion});
            }
            return;
        case Stage::duplicate:
            report.duplicates.push_back({entry.source, entry.duplicateOf});
            return;
        case Stage::skipped:
            report.skipped.push_back({entry.source, entry.message});
            return;
        default:
            report.failed.push_back({entry.source, entry.message});
    }
}

IntakeNotice CaptureService::noticeOf(const CaptureEntry& entry) const {
    if (entry.stage == Stage::duplicate) {
        return {IntakeNoticeKind::duplicate, "Already in NOOKERY", titleOf(entry.duplicateOf),
                entry.duplicateOf};
    }
    const CrumbItem& item = entry.memory.item;
    if (entry.otherVersion) {
        return {IntakeNoticeKind::version, "Looks like another version",
                "“" + item.title + "” and “" + titleOf(*entry.otherVersion) + "”", item.id};
    }
    return {IntakeNoticeKind::captured, "Captured", item.title, item.id};
}

std::string CaptureService::titleOf(const Uuid& id) const {
    const auto item = library_.find(id);
    return item ? item->title : std::string();
}

void CaptureService::finishJob() {
    onCaptureQueue(
        nullptr, [work = jobs_.front()->work] { work->finish(); },
        [this](Nothing) {
            const auto job = std::move(jobs_.front());
            jobs_.pop_front();
            library_.setIntakeCount(IntakeRoad::capture, 0);
            beginNext();
            job->operation->finish(Outcome<CaptureReport>::done(std::move(job->report)));
        });
}

/// Something went wrong that is no fault of one entry. What was committed stays; what lies under
/// temporary names is removed at the next start.
void CaptureService::giveUp(const Batch& batch, const Failure& failure) {
    platform_.log.line("NOOKERY capture error: " + failure.message);
    indexIsBeingBuilt_ = false;
    addedMeanwhile_.clear();
    const bool namesSources = batch && !batch->entries.empty();
    if (!namesSources) jobs_.front()->report.failed.push_back({"", failure.message});
    if (namesSources) {
        for (CaptureEntry& entry : batch->entries) {
            if (entry.isOpen()) entry.fail(failure.message);
            report(entry);
        }
    }
    const auto job = std::move(jobs_.front());
    jobs_.pop_front();
    library_.setIntakeCount(IntakeRoad::capture, 0);
    beginNext();
    job->operation->finish(Outcome<CaptureReport>::done(std::move(job->report)));
}

}  // namespace nookery
