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

/// The lexical stage: from what was typed to the ranked hits with their hints. Remembers the
/// evidence of the last terms while the index stays as it is, so that typing on costs only what
/// the new word costs. Main thread.
class LexicalSearch {
  public:
    /// A query with all that the index holds of it. Valid until the next call of `look` or change
    /// of the index.
    struct Matches {
        Query query;
        std::vector<const TermMatches*> terms;  ///< of the query's terms, in order
        std::vector<std::string> understood;    ///< the words, mistyped ones corrected
        std::vector<std::string> plainTags;     ///< terms that equal a tag
        std::optional<TagMatches> tags;

        std::vector<std::string> requestedTags() const;
    };

    explicit LexicalSearch(const LexicalIndex& index) : index_(index) {}

    Matches match(std::string_view searchText);
    LexicalSnapshot search(std::string_view searchText, std::size_t limit);

    /// The memory that the remembered evidence takes.
    std::size_t byteCount() const;

  private:
    struct Remembered {
        std::string typed;
        std::unique_ptr<TermMatches> matches;
        std::uint64_t lastUse = 0;
    };

    const TermMatches& matchesOf(const QueryTerm& term);
    ScoreAccumulator cellsToReuse();
    void forgetWhenStale();

    const LexicalIndex& index_;
    std::vector<Remembered> remembered_;
    std::uint64_t version_ = 0;
    std::uint64_t useCount_ = 0;
    std::uint64_t queryStart_ = 0;  // evidence used since then belongs to the query at hand
};

}  // namespace nookery
