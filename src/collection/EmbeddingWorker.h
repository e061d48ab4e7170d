#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "foundation/Published.h"
#include "foundation/Uuid.h"
#include "platform/Platform.h"
#include "platform/WorkQueue.h"

namespace nookery {

/// Makes the embeddings of memories in the background, a few at a time, so that the main thread
/// only gathers texts and stores results. Main thread.
class EmbeddingWorker {
  public:
    using Vector = std::vector<float>;
    /// None: the text has no meaning that the model knows, and is not to be tried again.
    using Results = std::vector<std::pair<Uuid, std::optional<Vector>>>;

    struct Owner {
        /// The text to embed; none when the memory is gone by now.
        std::function<std::optional<std::string>(const Uuid&)> textOf;
        /// Stores what was made, durably, and takes the memories off the list of waiting work.
        std::function<void(const Results&)> store;
    };

    EmbeddingWorker(const Platform& platform, Owner owner);

    /// Adds memories to what waits; one that waits already is not added again.
    void add(std::span<const Uuid> ids);
    /// A memory that changes while its text is being embedded is embedded again.
    void add(const Uuid& id) { add(std::span(&id, 1)); }
    void remove(const std::unordered_set<Uuid>& ids);
    void clear();

    /// Works until nothing waits. Does nothing without an embedder.
    void start();
    /// Lets the batch under way finish, and begins no other.
    void pause() { running_ = false; }

    const Published<int>& waitingCount() const { return waitingCount_; }

  private:
    void beginBatch();
    void finishBatch(const Results& results);
    void announceCount();

    const Platform& platform_;
    Owner owner_;
    std::deque<Uuid> waiting_;
    std::unordered_set<Uuid> waitingIDs_;
    std::unordered_set<Uuid> inBatch_;
    std::unordered_set<Uuid> changedInBatch_;
    Published<int> waitingCount_{0};
    bool running_ = false;
    CallbackGuard guard_;
};

}  // namespace nookery
