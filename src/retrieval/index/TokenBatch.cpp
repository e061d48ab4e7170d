#include "retrieval/index/TokenBatch.h"

#include "retrieval/index/RecordStream.h"

namespace nookery {
namespace {

/// Enough for the tokens of most batches, and small enough for the processor's cache.
constexpr std::size_t slotCount = 1 << 14;

}  // namespace

TokenBatch::TokenBatch(const SectionMeanings& meanings)
    : tokens_(slotCount), termFrequencies_(meanings) {}

void TokenBatch::add(const SearchRecord& record) {
    writer_.clear();
    RecordStream(tokens_, writer_).write(record);
    writer_.begin(Section::end);
    const std::size_t start = bytes_.size();
    bytes_.insert(bytes_.end(), writer_.bytes().begin(), writer_.bytes().end());
    memories_.push_back({start, record.tags});
    documentFrequencies_.resize(tokens_.size());
    termFrequencies_.count(stream(memories_.size() - 1), tokens_.size());
    for (const auto& entry : termFrequencies_.entries()) ++documentFrequencies_[entry.token];
    totalLength_ += termFrequencies_.length();
}

}  // namespace nookery
