#include "retrieval/RetrievalEngine.h"

#include "retrieval/deep/CandidateRetrieval.h"
#include "retrieval/deep/DeepSearch.h"
#include "retrieval/deep/VectorMatrix.h"
#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/LexicalSearch.h"
#include "retrieval/related/FileFamilies.h"
#include "retrieval/related/RelatedMemories.h"
#include "retrieval/show/SearchExplanation.h"
#include "retrieval/text/ContentPieces.h"

namespace nookery {

class RetrievalEngine::State {
  public:
    explicit State(const RankingWeights& weights) : index(weights) {}

    LexicalIndex index;
    VectorMatrix vectors;
    LexicalSearch lexical{index};
    FileFamilies families;
    /// The related memories of those asked for since the last change.
    std::unordered_map<Uuid, std::vector<Uuid>> relatedCache;
};

RetrievalEngine::RetrievalEngine(const RankingWeights& weights)
    : state_(std::make_unique<State>(weights)) {}
RetrievalEngine::~RetrievalEngine() = default;

void RetrievalEngine::put(const CrumbItemPointer& item, const MemoryAttributes& attributes) {
    state_->relatedCache.clear();
    state_->index.put(item, attributes);
    state_->vectors.setRecord(item);
    state_->families.put(item);
}

void RetrievalEngine::putAll(std::span<const CrumbItemPointer> items,
                             const std::vector<MemoryAttributes>& attributes, Expected expected) {
    state_->relatedCache.clear();
    state_->index.putAll(items, attributes,
                         expected == Expected::fewSearches ? Deriving::asNeeded : Deriving::atOnce);
    for (const CrumbItemPointer& item : items) {
        state_->vectors.setRecord(item);
        state_->families.put(item);
    }
}

void RetrievalEngine::remove(const Uuid& id) {
    state_->relatedCache.clear();
    state_->index.remove(id);
    state_->vectors.remove(id);
    state_->families.remove(id);
}

void RetrievalEngine::clear() {
    state_->relatedCache.clear();
    state_->index.clear();
    state_->vectors.clear();
    state_->families.clear();
}

std::size_t RetrievalEngine::size() const { return state_->index.size(); }

void RetrievalEngine::setVector(const Uuid& id, std::span<const double> vector) {
    const auto ordinal = state_->index.ordinalOf(id);
    if (!ordinal) return;
    state_->relatedCache.clear();
    if (vector.empty()) {
        state_->vectors.remove(id);
    } else {
        state_->vectors.set(state_->index.item(*ordinal), vector);
    }
}

LexicalSnapshot RetrievalEngine::search(std::string_view searchText, std::size_t limit) const {
    return state_->lexical.search(searchText, limit);
}

std::shared_ptr<const DeepSearchRequest> RetrievalEngine::prepareDeepSearch(
    const LexicalSnapshot& snapshot, const UsageSignals& usage, Timestamp now) const {
    return retrieveCandidates(state_->index, state_->vectors, snapshot, usage, now);
}

DeepSearchResult RetrievalEngine::deepSearch(const DeepSearchRequest& request,
                                             const TextEmbedder* embedder, std::stop_token stop) {
    return runDeepSearch(request, embedder, std::move(stop));
}

Excerpt RetrievalEngine::excerpt(const CrumbItem& item, const ExcerptTerms& terms) {
    std::vector<std::string_view> texts{item.note};
    if (item.text) texts.emplace_back(*item.text);
    const ContentPieces pieces = parseContentPieces(item.searchableText);
    if (pieces.captured != item.text) texts.emplace_back(pieces.captured);
    texts.insert(texts.end(),
                 {pieces.document, pieces.recognised, pieces.description, pieces.facts});
    return bestPassage(texts, terms);
}

std::vector<Uuid> RetrievalEngine::related(const Uuid& id) const {
    const auto known = state_->relatedCache.find(id);
    if (known != state_->relatedCache.end()) return known->second;
    auto found = findRelated(state_->index, state_->vectors, state_->families, id);
    return state_->relatedCache[id] = std::move(found);
}

std::vector<Uuid> RetrievalEngine::versions(const Uuid& id) const {
    std::vector<Uuid> ids;
    for (const auto& version : state_->families.versionsOf(id)) ids.push_back(version->id);
    return ids;
}

bool RetrievalEngine::prepareVersions() {
    constexpr std::size_t namesAtATime = 1000;
    return state_->families.readNames(namesAtATime);
}

std::string RetrievalEngine::explain(std::string_view searchText) const {
    return explainSearch(state_->index, state_->lexical, searchText);
}

std::size_t RetrievalEngine::indexByteCount() const {
    return state_->index.byteCount() + state_->lexical.byteCount();
}

}  // namespace nookery
