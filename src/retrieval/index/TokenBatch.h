#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "retrieval/index/SearchRecord.h"
#include "retrieval/index/TermFrequencies.h"
#include "retrieval/index/TokenStreams.h"
#include "retrieval/index/TokenTable.h"

namespace nookery {

/// Some memories on their way into the index: all that can be made of them without it, so that
/// several threads can. Their tokens have numbers of the batch's own, in the order of first
/// appearance; the index looks each distinct token up once for the whole batch.
class TokenBatch {
  public:
    explicit TokenBatch(const SectionMeanings& meanings);

    /// Adds the next memory.
    void add(const SearchRecord& record);

    std::size_t size() const { return memories_.size(); }
    /// The memory's texts, without its tags. Valid while the batch stays as it is.
    TokenStream stream(std::size_t memory) const {
        return TokenStream(bytes_.data() + memories_[memory].start);
    }
    const std::set<std::string>& tags(std::size_t memory) const { return memories_[memory].tags; }

    const TokenTable& tokens() const { return tokens_; }
    /// By token: how many of the memories hold it.
    std::span<const std::uint32_t> documentFrequencies() const { return documentFrequencies_; }
    /// The number of tokens in title, note and contents of all of them.
    std::uint64_t totalLength() const { return totalLength_; }

  private:
    struct Memory {
        std::size_t start;  ///< of its stream
        std::set<std::string> tags;
    };

    TokenTable tokens_;
    TermFrequencies termFrequencies_;
    TokenStreamWriter writer_;
    std::vector<std::uint8_t> bytes_;
    std::vector<Memory> memories_;
    std::vector<std::uint32_t> documentFrequencies_;
    std::uint64_t totalLength_ = 0;
};

}  // namespace nookery
