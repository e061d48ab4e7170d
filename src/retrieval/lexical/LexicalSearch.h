#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/LexicalScorer.h"
#include "retrieval/lexical/LexicalSnapshot.h"
#include "retrieval/lexical/Query.h"
#include "retrieval/lexical/TermMatches.h"

namespace nookery {

/// The lexical stage: turns the typed text into ranked hits with their hints. It caches the matches
/// of the last terms until the index changes, so that each further word costs only its own search.
/// Main thread.
class LexicalSearch {
  public:
    /// A query with the matches of its terms and tags. Valid until the next call of `match` or
    /// `search`, or the next change of the index.
    struct Matches {
        Query query;
        std::vector<const TermMatches*> terms;    ///< of the query's terms, in order
        std::vector<std::string> correctedTerms;  ///< the terms, mistyped ones corrected
        std::vector<std::string> plainTags;       ///< terms that equal a tag
        std::optional<TagMatches> tags;

        std::vector<std::string> requestedTags() const;
    };

    explicit LexicalSearch(const LexicalIndex& index) : index_(index) {}

    Matches match(std::string_view searchText);
    LexicalSnapshot search(std::string_view searchText, std::size_t limit);

    /// The bytes that the cache holds.
    std::size_t byteCount() const;

  private:
    struct CachedTerm {
        std::string typed;
        std::unique_ptr<TermMatches> matches;
        std::uint64_t lastUse = 0;
    };

    const TermMatches& matchesOf(const QueryTerm& term);
    ScoreAccumulator accumulatorToReuse();
    void clearStaleCache();

    const LexicalIndex& index_;
    std::vector<CachedTerm> cache_;
    std::uint64_t version_ = 0;
    std::uint64_t useCount_ = 0;
    std::uint64_t queryStart_ = 0;  // terms used since then belong to the current query
};

}  // namespace nookery
