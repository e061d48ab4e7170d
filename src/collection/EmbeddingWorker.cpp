#include "collection/EmbeddingWorker.h"

#include "platform/TextEmbedder.h"

namespace nookery {
namespace {

/// Small enough that a batch of long texts ends within about a second, when a program wants to.
constexpr std::size_t batchSize = 8;

using TextByID = std::vector<std::pair<Uuid, std::string>>;

EmbeddingWorker::Results embedAll(const TextEmbedder& embedder, const TextByID& texts) {
    EmbeddingWorker::Results results;
    results.reserve(texts.size());
    for (const auto& [id, text] : texts) results.emplace_back(id, embedder.embedMemory(text));
    return results;
}

}  // namespace

EmbeddingWorker::EmbeddingWorker(const Platform& platform, Owner owner)
    : platform_(platform), owner_(std::move(owner)) {}

void EmbeddingWorker::add(std::span<const Uuid> ids) {
    for (const Uuid& id : ids) {
        if (inBatch_.contains(id)) changedInBatch_.insert(id);
        if (waitingIDs_.insert(id).second) waiting_.push_back(id);
    }
    announceCount();
    if (running_) beginBatch();
}

void EmbeddingWorker::remove(const std::unordered_set<Uuid>& ids) {
    std::erase_if(waiting_, [&](const Uuid& id) { return ids.contains(id); });
    std::erase_if(waitingIDs_, [&](const Uuid& id) { return ids.contains(id); });
    changedInBatch_.insert(ids.begin(), ids.end());
    announceCount();
}

void EmbeddingWorker::clear() {
    changedInBatch_ = inBatch_;
    waiting_.clear();
    waitingIDs_.clear();
    announceCount();
}

void EmbeddingWorker::start() {
    if (platform_.embedder == nullptr) return;
    running_ = true;
    beginBatch();
}

void EmbeddingWorker::beginBatch() {
    if (!running_ || !inBatch_.empty()) return;
    TextByID texts;
    while (texts.size() < batchSize && !waiting_.empty()) {
        const Uuid id = waiting_.front();
        waiting_.pop_front();
        waitingIDs_.erase(id);
        if (auto text = owner_.textOf(id)) {
            inBatch_.insert(id);
            texts.emplace_back(id, std::move(*text));
        }
    }
    announceCount();
    if (texts.empty()) return;
    auto finish = guard_.guarded([this](const Results& results) { finishBatch(results); });
    platform_.enrichQueue.async([platform = platform_, texts = std::move(texts), finish] {
        platform.mainQueue.async(
            [finish, results = embedAll(*platform.embedder, texts)]() mutable { finish(results); });
    });
}

void EmbeddingWorker::finishBatch(const Results& results) {
    Results current;
    for (const auto& result : results) {
        // What changed meanwhile waits for its next turn; what was removed is not stored.
        if (!changedInBatch_.contains(result.first)) current.push_back(result);
    }
    inBatch_.clear();
    changedInBatch_.clear();
    owner_.store(current);
    announceCount();
    beginBatch();
}

void EmbeddingWorker::announceCount() {
    const auto count = static_cast<int>(waiting_.size() + inBatch_.size());
    if (count != *waitingCount_) waitingCount_.set(count);
}

}  // namespace nookery
