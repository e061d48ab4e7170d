#include "collection/enrichment/EnrichmentWorker.h"

#include <algorithm>

#include "collection/enrichment/TextForMeaning.h"
#include "collection/originals/MemoryRemoval.h"
#include "foundation/Error.h"
#include "platform/Log.h"
#include "platform/TextEmbedder.h"
#include "platform/work/Caller.h"
#include "platform/work/Task.h"

namespace nookery {
namespace {

/// How many memories are embedded at a time: few enough that long texts end within about a second.
constexpr std::size_t embeddingBatchSize = 8;

/// Memories that have become secret while their originals were read.
std::unordered_set<Uuid> secretsAmong(const std::vector<EnrichmentResult>& results,
                                      const Library& library) {
    std::unordered_set<Uuid> secret;
    for (const EnrichmentResult& result : results) {
        const auto item = library.find(result.id);
        if (result.contents && item && isSecure(*item)) secret.insert(result.id);
    }
    return secret;
}

}  // namespace

EnrichmentResult EnrichmentWorker::perform(const Job& job, const Platform& platform,
                                           const LibraryLayout& layout,
                                           const std::stop_token& stop) {
    EnrichmentResult result{.id = job.item->id};
    CrumbItem item = *job.item;
    if (job.needs.contents) {
        result.contents = readContents(item, platform, layout, stop);
        item.searchableText = result.contents->searchableText;
    }
    if (job.needs.embedding) embed(item, platform, result);
    return result;
}

/// What cannot be embedded now has no vector, and is tried again at the next start.
void EnrichmentWorker::embed(const CrumbItem& item, const Platform& platform,
                             EnrichmentResult& result) {
    if (platform.embedder == nullptr) return;
    try {
        result.vector = platform.embedder->embedMemory(textForMeaning(item));
        result.isEmbedded = true;
    } catch (const std::exception& error) {
        platform.log.line("NOOKERY embedding error: " + describe(error));
    }
}

/// Those that ended before a stop was requested. Whatever goes wrong with one, it has a result: the
/// next ones wait for it.
std::vector<EnrichmentResult> EnrichmentWorker::performAll(const Jobs& jobs,
                                                           const Platform& platform,
                                                           const LibraryLayout& layout,
                                                           const std::stop_token& stop) {
    std::vector<EnrichmentResult> results;
    for (const Job& job : jobs) {
        if (stop.stop_requested()) break;
        try {
            results.push_back(perform(job, platform, layout, stop));
        } catch (const Cancelled&) {
            break;  // the rest waits for the next start
        } catch (const std::exception& error) {
            EnrichmentResult& failed = results.emplace_back();
            failed.id = job.item->id;
            if (!job.needs.contents) continue;
            failed.contents = ReadContents{job.item->searchableText, describe(error), {}};
        }
    }
    return results;
}

EnrichmentWorker::EnrichmentWorker(const Platform& platform, LibraryLayout layout,
                                   const Library& library, EnrichmentResults& results)
    : platform_(platform), layout_(std::move(layout)), library_(library), results_(results) {}

EnrichmentWorker::~EnrichmentWorker() {
    stop_.request_stop();
    std::vector<Uuid> begun;
    for (const auto& [id, needs] : underWay_) {
        if (needs.contents) begun.push_back(id);
    }
    if (!begun.empty()) results_.recordGivenUp(begun);
}

void EnrichmentWorker::add(std::span<const Uuid> ids, EnrichmentNeeds needs) {
    for (const Uuid& id : ids) {
        if (underWay_.contains(id)) outdated_.insert(id);
        enqueue(id, needs);
    }
    announceCount();
    if (running_) beginBatches();
}

void EnrichmentWorker::enqueue(const Uuid& id, EnrichmentNeeds needs) {
    const auto [known, isNew] = waitingNeeds_.emplace(id, needs);
    known->second.contents |= needs.contents;
    known->second.embedding |= needs.embedding;
    known->second.alone |= needs.alone;
    if (isNew) waiting_.push_back(id);
}

void EnrichmentWorker::remove(const std::unordered_set<Uuid>& ids) {
    std::erase_if(waiting_, [&](const Uuid& id) { return ids.contains(id); });
    for (const Uuid& id : ids) {
        waitingNeeds_.erase(id);
        if (underWay_.contains(id)) outdated_.insert(id);
    }
    announceCount();
}

void EnrichmentWorker::clear() {
    for (const auto& [id, needs] : underWay_) outdated_.insert(id);
    waiting_.clear();
    waitingNeeds_.clear();
    announceCount();
}

void EnrichmentWorker::start() {
    running_ = true;
    beginBatches();
}

void EnrichmentWorker::pause() {
    running_ = false;
    stop_.request_stop();
    stop_ = std::stop_source();
}

void EnrichmentWorker::beginBatches() {
    while (running_ && !isAloneUnderWay_ && batchCount_ < platform_.enrichThreadCount) {
        Jobs jobs = takeJobs(false);
        if (jobs.empty() && batchCount_ == 0) jobs = takeJobs(true);
        if (jobs.empty()) break;
        begin(std::move(jobs));
    }
    announceCount();
}

/// One memory whose contents are to be read, or several that only need a vector. What is under way
/// is left waiting for its own end.
EnrichmentWorker::Jobs EnrichmentWorker::takeJobs(bool alone) {
    Jobs jobs;
    std::size_t position = 0;
    while (position < waiting_.size() && jobs.size() < embeddingBatchSize) {
        const Uuid id = waiting_[position];
        const EnrichmentNeeds needs = waitingNeeds_.at(id);
        if (needs.contents && !jobs.empty()) break;
        if (needs.alone != alone || underWay_.contains(id)) {
            ++position;
            continue;
        }
        waiting_.erase(waiting_.begin() + static_cast<std::ptrdiff_t>(position));
        waitingNeeds_.erase(id);
        const CrumbItemPointer item = library_.find(id);
        if (!item) continue;
        underWay_[id] = needs;
        jobs.push_back({item, needs});
        if (needs.contents) break;
    }
    return jobs;
}

void EnrichmentWorker::begin(Jobs jobs) {
    ++batchCount_;
    isAloneUnderWay_ = jobs.front().needs.alone;
    std::vector<Uuid> ids;
    for (const Job& job : jobs) ids.push_back(job.item->id);
    if (jobs.front().needs.contents) results_.recordBegun(ids);
    // Whoever brought it, or ended what went before: the background is the program's own.
    const CallerScope scope(nullptr);
    Task::run(
        platform_.enrichQueue, platform_.mainQueue, guard_,
        [platform = platform_, layout = layout_, jobs = std::move(jobs), stop = stop_.get_token()] {
            return performAll(jobs, platform, layout, stop);
        },
        [this, ids](Outcome<std::vector<EnrichmentResult>> outcome) {
            if (outcome.isDone()) return finish(ids, std::move(outcome.get()));
            // No fault of these memories: they wait for the next session.
            if (const Failure* failure = outcome.failure()) {
                platform_.log.line("NOOKERY enrichment error: " + failure->message);
            }
            running_ = false;
            finish(ids, {});
        });
}

void EnrichmentWorker::finish(const std::vector<Uuid>& ids, std::vector<EnrichmentResult> results) {
    --batchCount_;
    isAloneUnderWay_ = false;
    std::vector<Uuid> givenUp;
    for (const Uuid& id : ids) {
        const bool isDone = std::any_of(results.begin(), results.end(),
                                        [&](const auto& result) { return result.id == id; });
        const EnrichmentNeeds needs = underWay_.extract(id).mapped();
        if (isDone) continue;
        if (needs.contents) givenUp.push_back(id);
        enqueue(id, needs);
    }
    for (EnrichmentResult& result : results) {
        result.isOutdated = outdated_.contains(result.id);
    }
    for (const Uuid& id : ids) outdated_.erase(id);
    if (!givenUp.empty()) results_.recordGivenUp(givenUp);
    if (!results.empty()) results_.store(results);
    removeThumbnailsLater(secretsAmong(results, library_), layout_, platform_);
    beginBatches();
    if (*waitingCount_ == 0) results_.workEnded();
}

void EnrichmentWorker::announceCount() {
    std::size_t count = waiting_.size();
    for (const auto& [id, needs] : underWay_) count += waitingNeeds_.contains(id) ? 0 : 1;
    if (static_cast<int>(count) != *waitingCount_) waitingCount_.set(static_cast<int>(count));
    const int underWay = static_cast<int>(underWay_.size());
    if (underWay != *underWayCount_) underWayCount_.set(underWay);
}

}  // namespace nookery
