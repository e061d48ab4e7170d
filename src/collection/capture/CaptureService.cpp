#include "collection/capture/CaptureService.h"

#include <algorithm>
#include <set>
#include <unordered_set>

#include "collection/database/Sidecar.h"
#include "collection/originals/OriginalNames.h"
#include "platform/Log.h"

namespace nookery {

/// What the accepted entries of a batch have laid their hands on.
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

namespace {

using Stage = CaptureEntry::Stage;

constexpr int mostNamesTried = 20;

/// As the sidecar names originals.
Path relativePath(const Path& name) { return Path("Items") / name; }

bool hasOpenEntries(const CaptureBatch& batch) {
    return std::any_of(batch.entries.begin(), batch.entries.end(),
                       [](const CaptureEntry& entry) { return entry.isOpen(); });
}

}  // namespace

CaptureService::CaptureService(const Platform& platform, LibraryLayout layout, Sidecar& sidecar,
                               Owner owner)
    : platform_(platform),
      layout_(std::move(layout)),
      sidecar_(sidecar),
      owner_(std::move(owner)) {}

CaptureService::~CaptureService() {
    for (const auto& job : jobs_) job->stop.request_stop();
}

void CaptureService::capture(CaptureRequest request, std::stop_token stop, Progress progress,
                             Finished finished) {
    auto job = std::make_unique<CaptureJob>();
    job->relay.emplace(std::move(stop), [source = job->stop]() mutable { source.request_stop(); });
    job->work = std::make_shared<CaptureWork>(platform_, layout_, std::move(request),
                                              job->stop.get_token());
    job->progress = std::move(progress);
    job->finished = std::move(finished);
    jobs_.push_back(std::move(job));
    if (jobs_.size() == 1) gather();
}

void CaptureService::remember(std::span<const CrumbItemPointer> added) {
    if (!index_) return;
    for (const auto& item : added) index_->add(*item);
}

/// Gathered anew when it is next needed: what a removed memory had hidden comes to light again.
void CaptureService::forgetRemoved() { index_.reset(); }

void CaptureService::gather() {
    auto batch = std::make_shared<CaptureBatch>();
    onCaptureQueue([work = jobs_.front()->work, batch] { *batch = work->gather(); },
                   [this, batch] { decide(batch); });
}

void CaptureService::decide(const Batch& batch) {
    jobs_.front()->foundCount = batch->foundCount;
    announceCount();
    if (!jobs_.front()->stop.stop_requested()) accept(*batch);
    onCaptureQueue([work = jobs_.front()->work, batch] { work->settle(*batch); },
                   [this, batch] { commit(batch); });
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

std::optional<Uuid> CaptureService::knownTwin(const CaptureEntry& entry) {
    if (entry.original) return knownOriginal(*entry.original);
    if (!entry.linkIdentity.empty()) return index().linkWithIdentity(entry.linkIdentity);
    return std::nullopt;
}

/// A memory whose own original is gone or was changed does not make a newcomer superfluous.
std::optional<Uuid> CaptureService::knownOriginal(const OriginalCopy& original) const {
    for (const OriginalFact& fact : sidecar_.originalsWithDigest(original.digest)) {
        // A file inside a folder original belongs to that memory; it is not a memory itself.
        if (fact.relativePath != relativePath(fact.relativePath.filename())) continue;
        if (!owner_.find(fact.memoryID)) continue;
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
    std::vector<PreparedMemory> ready;
    for (CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::ready) ready.push_back(std::move(entry.memory));
    }
    if (ready.empty()) return closeRound(batch);
    const Committed committed = owner_.commit(ready);
    auto next = ready.begin();
    for (CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::ready) entry.memory = std::move(*next++);
    }
    if (committed.isKept) {
        markAdded(*batch, committed);
        return closeRound(batch);
    }
    index_.reset();
    for (CaptureEntry& entry : batch->entries) {
        if (entry.stage == Stage::ready)
            entry.fail(committed.problem.value_or("It was not saved."));
    }
    onCaptureQueue([work = jobs_.front()->work, batch] { work->discard(*batch); },
                   [this, batch] { closeRound(batch); });
}

void CaptureService::findOtherVersions(CaptureBatch& batch) {
    for (CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::ready) continue;
        if (entry.finalName) entry.otherVersion = index().otherVersionOf(*entry.finalName);
        // A text has nothing to be known by, and need not wait for the index.
        if (entry.memory.item.kind != CrumbKind::text) index().add(entry.memory.item);
    }
}

void CaptureService::markAdded(CaptureBatch& batch, const Committed& committed) {
    std::vector<Path> names;
    for (CaptureEntry& entry : batch.entries) {
        if (entry.stage != Stage::ready) continue;
        entry.stage = Stage::added;
        if (committed.problem && entry.message.empty()) entry.message = *committed.problem;
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
    const bool isStopped = jobs_.front()->stop.stop_requested();
    if (hasOpenEntries(*batch) && !isStopped) {
        decide(batch);
    } else {
        finishBatch(batch);
    }
}

void CaptureService::finishBatch(const Batch& batch) {
    CaptureJob& job = *jobs_.front();
    if (hasOpenEntries(*batch) || (job.stop.stop_requested() && !batch->isLast)) {
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
    if (notice) owner_.announce(*notice);
    announceCount();
    if (job.progress) job.progress({job.doneCount, job.foundCount});
    if (batch->isLast || job.report.cancelled) {
        finishJob();
    } else {
        gather();
    }
}

void CaptureService::announceCount() const {
    const CaptureJob& job = *jobs_.front();
    owner_.importCountChanged(static_cast<int>(job.foundCount - job.doneCount));
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
    const auto item = owner_.find(id);
    return item ? item->title : std::string();
}

void CaptureService::finishJob() {
    onCaptureQueue([work = jobs_.front()->work] { work->finish(); },
                   [this] {
                       const auto job = std::move(jobs_.front());
                       jobs_.pop_front();
                       owner_.importCountChanged(0);
                       if (!jobs_.empty()) gather();
                       job->finished(job->report);
                   });
}

IntakeIndex& CaptureService::index() {
    if (!index_) index_.emplace(owner_.all());
    return *index_;
}

/// The reply runs on the main thread, unless the service is gone by then.
void CaptureService::onCaptureQueue(std::function<void()> work, std::function<void()> reply) {
    platform_.captureQueue.async([&mainQueue = platform_.mainQueue, work = std::move(work),
                                  reply = std::function<void()>(guard_.guarded(std::move(reply)))] {
        work();
        mainQueue.async(reply);
    });
}

}  // namespace nookery
