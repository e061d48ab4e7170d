#include "collection/enrichment/Enrichment.h"

#include <algorithm>

#include "collection/database/RecognisedPages.h"
#include "collection/originals/MemoryRemoval.h"
#include "platform/Log.h"

namespace nookery {

Enrichment::Enrichment(const Platform& platform, const LibraryLayout& layout, Library& library,
                       Sidecar* sidecar)
    : platform_(platform),
      layout_(layout),
      library_(library),
      sidecar_(sidecar),
      results_(platform, library, sidecar),
      worker_(platform, layout, library, results_) {}

template <typename Change>
void Enrichment::changeSidecar(const Change& change) {
    if (sidecar_ == nullptr) return;
    try {
        change(*sidecar_);
    } catch (const Error& error) {
        platform_.log.line("NOOKERY sidecar save error: " + error.description());
    }
}

void Enrichment::start() {
    isStarted_ = true;
    startWorker();
}

void Enrichment::pause() {
    isStarted_ = false;
    pauseWorker();
}

/// Without a place to record what is begun, an original that ends the program would do so for ever.
void Enrichment::startWorker() {
    if (library_.refusal() || sidecar_ == nullptr) return;
    // What could not be saved is told to everyone who waits.
    if (workingOff_.empty()) results_.forgetFailure();
    worker_.start();
}

void Enrichment::pauseWorker() {
    worker_.pause();
    results_.settleAndAnnounce();
}

/// One caller's waiting.
struct Enrichment::WorkingOff {
    OperationPointer<EnrichmentReport> operation;
    int waitedCount = 0;  ///< at the beginning
    Subscription waiting{};
    Subscription underWay{};
    std::optional<std::stop_callback<std::function<void()>>> stop{};

    bool isStopped() const { return operation->control().isStopRequested(); }
};

OperationPointer<EnrichmentReport> Enrichment::workOff() {
    const auto work = std::make_shared<WorkingOff>();
    work->operation = Operation<EnrichmentReport>::create(platform_.mainQueue);
    work->waitedCount = *waitingCount();
    startWorker();
    // Looked at later: whoever changes the counts is still at work.
    const std::function<void()> look =
        [&mainQueue = platform_.mainQueue,
         later = std::function<void()>(guard_.guarded([this, weak = std::weak_ptr(work)] {
             if (const auto held = weak.lock()) lookAtWork(held);
         }))] { mainQueue.async(later); };
    work->waiting = waitingCount().subscribe([look](int) { look(); });
    work->underWay = underWayCount().subscribe([look](int) { look(); });
    work->stop.emplace(work->operation->control().stopToken(), look);
    workingOff_.push_back(work);
    look();
    return work->operation;
}

bool Enrichment::isWantedBeside(const WorkingOff& work) const {
    return isStarted_ || std::any_of(workingOff_.begin(), workingOff_.end(), [&](const auto& each) {
               return each.get() != &work && !each->isStopped();
           });
}

void Enrichment::lookAtWork(const std::shared_ptr<WorkingOff>& work) {
    const bool isStopped = work->isStopped();
    const bool isLeftToOthers = isStopped && isWantedBeside(*work);
    if (isStopped && !isLeftToOthers && worker_.isRunning()) pauseWorker();
    const int pending = *waitingCount();
    const bool goesOn = isUnderWay() || (pending > 0 && worker_.isRunning());
    if (!goesOn || isLeftToOthers) return end(work);
    work->operation->control().report(
        {isStopped ? "ending what is being read; interrupt again to end at once, left"
                   : "reading what was taken in, left",
         static_cast<std::uint64_t>(pending), 0});
}

void Enrichment::end(const std::shared_ptr<WorkingOff>& work) {
    std::erase(workingOff_, work);
    work->stop.reset();
    isWantedBeside(*work) ? results_.settle() : pauseWorker();
    if (const SaveFailure& failure = results_.failure()) {
        return work->operation->finish(
            Outcome<EnrichmentReport>::failed({failure.message(), failure.advice(), {}}));
    }
    const int pending = *waitingCount();
    // Others may have added more than was done.
    const int doneCount = std::max(0, work->waitedCount - pending);
    work->operation->finish(Outcome<EnrichmentReport>::done({doneCount, pending}));
}

void Enrichment::request(const std::vector<Uuid>& ids) {
    renewContents(ids);
    edited(ids);
}

void Enrichment::renewContents(const std::vector<Uuid>& ids) {
    std::vector<Uuid> readable;
    for (const Uuid& id : ids) {
        const auto item = library_.find(id);
        if (item && hasReadableOriginal(*item)) readable.push_back(id);
    }
    changeSidecar([&](Sidecar& sidecar) {
        sidecar.finishWork(readable, contentsTask);
        sidecar.addWork(readable, contentsTask);
    });
    worker_.add(readable, {.contents = true});
}

std::vector<PendingWork> Enrichment::recordedWork() const {
    if (sidecar_ != nullptr) return sidecar_->pendingWork(contentsTask);
    if (!platform_.files.status(layout_.sidecar())) return {};
    return Sidecar::openForReading(layout_.sidecar()).pendingWork(contentsTask);
}

std::vector<EnrichmentFailure> Enrichment::failures() const {
    std::vector<EnrichmentFailure> failures;
    for (const PendingWork& work : recordedWork()) {
        if (worker_.isUnderWay(work.memoryID)) continue;
        if (!work.lastFailure || !library_.find(work.memoryID)) continue;
        failures.push_back(
            {work.memoryID, *work.lastFailure, work.attempts >= mostReadingAttempts});
    }
    return failures;
}

void Enrichment::resume(const EnrichmentBacklog& backlog) {
    worker_.add(backlog.unread, {.contents = true});
    worker_.add(backlog.suspects, {.contents = true, .alone = true});
    if (platform_.embedder != nullptr) worker_.add(backlog.withoutVector, {.embedding = true});
}

void Enrichment::added(const CrumbItemList& records) {
    std::vector<Uuid> unread;
    std::vector<Uuid> all;
    for (const auto& record : records) {
        all.push_back(record->id);
        if (hasUnreadContents(*record)) unread.push_back(record->id);
    }
    worker_.add(unread, {.contents = true});
    if (platform_.embedder != nullptr) worker_.add(all, {.embedding = true});
}

void Enrichment::edited(const std::vector<Uuid>& ids) {
    results_.settle();  // or what is recorded here would be taken for done
    std::unordered_set<Uuid> secret;
    for (const Uuid& id : ids) {
        const auto item = library_.find(id);
        if (item && isSecure(*item)) secret.insert(id);
    }
    changeSidecar([&](Sidecar& sidecar) {
        sidecar.addWork(ids, embeddingTask);
        // What has become secret keeps its words and its looks to itself.
        for (const Uuid& id : secret) RecognisedPages(sidecar).replace(id, {});
    });
    removeThumbnailsLater(std::move(secret), layout_, platform_);
    if (platform_.embedder != nullptr) worker_.add(ids, {.embedding = true});
}

void Enrichment::removed(const std::unordered_set<Uuid>& ids) { worker_.remove(ids); }

}  // namespace nookery
