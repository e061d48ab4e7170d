#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "collection/database/Library.h"
#include "collection/enrichment/EnrichmentResults.h"
#include "foundation/Published.h"
#include "platform/Platform.h"
#include "platform/work/WorkQueue.h"
#include "records/CrumbItem.h"

namespace nookery {

/// What is to be done for a memory.
struct EnrichmentNeeds {
    bool contents = false;   ///< its original is to be read
    bool embedding = false;  ///< its text is to be embedded
    /// Reading it ended the program before: it is read last and nothing beside it, so that no other
    /// memory is blamed when that happens again.
    bool alone = false;
};

/// Reads originals and makes embeddings in the background, as many memories at a time as the
/// platform has threads for it, so that the main thread only hands out records and takes results
/// back. Main thread.
class EnrichmentWorker {
  public:
    EnrichmentWorker(const Platform& platform, LibraryLayout layout, const Library& library,
                     EnrichmentResults& results);
    /// Gives up what is under way.
    ~EnrichmentWorker();

    /// Adds memories, or needs of memories that wait already. One whose work is under way has its
    /// turn again afterwards.
    void add(std::span<const Uuid> ids, EnrichmentNeeds needs);
    void remove(const std::unordered_set<Uuid>& ids);
    void clear();

    /// Works until nothing waits.
    void start();
    /// Gives up what is under way, within a second or so, and begins nothing else.
    void pause();

    /// Until it is paused, or came to grief.
    bool isRunning() const { return running_; }
    /// Memories whose work is under way.
    const Published<int>& underWayCount() const { return underWayCount_; }
    bool isUnderWay(const Uuid& id) const { return underWay_.contains(id); }
    /// Memories whose work waits or is under way.
    const Published<int>& waitingCount() const { return waitingCount_; }

  private:
    struct Job {
        CrumbItemPointer item;
        EnrichmentNeeds needs;
    };
    using Jobs = std::vector<Job>;

    void enqueue(const Uuid& id, EnrichmentNeeds needs);
    void beginBatches();
    Jobs takeJobs(bool alone);
    void begin(Jobs jobs);
    void finish(const std::vector<Uuid>& ids, std::vector<EnrichmentResult> results);
    void announceCount();

    static EnrichmentResult perform(const Job& job, const Platform& platform,
                                    const LibraryLayout& layout, const std::stop_token& stop);
    static void embed(const CrumbItem& item, const Platform& platform, EnrichmentResult& result);
    static std::vector<EnrichmentResult> performAll(const Jobs& jobs, const Platform& platform,
                                                    const LibraryLayout& layout,
                                                    const std::stop_token& stop);

    const Platform& platform_;
    LibraryLayout layout_;
    const Library& library_;
    EnrichmentResults& results_;
    std::deque<Uuid> waiting_;  // each id once
    std::unordered_map<Uuid, EnrichmentNeeds> waitingNeeds_;
    std::unordered_map<Uuid, EnrichmentNeeds> underWay_;
    std::unordered_set<Uuid> outdated_;  // of those under way: changed or removed meanwhile
    int batchCount_ = 0;
    Published<int> waitingCount_{0};
    Published<int> underWayCount_{0};
    bool running_ = false;
    bool isAloneUnderWay_ = false;
    std::stop_source stop_;
    CallbackGuard guard_;
};

}  // namespace nookery
