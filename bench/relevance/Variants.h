#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/TextEmbedder.h"
#include "relevance/Collection.h"
#include "relevance/Meaning.h"
#include "retrieval/deep/DeepSearch.h"
#include "retrieval/index/RankingWeights.h"

namespace nookery::relevance {

enum class Stage {
    lexical,  ///< as shown at once
    deep,     ///< the final order, without meaning
    meaning,  ///< the final order
};

/// The program's ranking, as it is or with one ingredient changed.
struct Variant {
    std::string name;
    Stage stage = Stage::meaning;
    std::function<void(RankingWeights&)> change;         ///< none: as it is
    std::function<void(DeepSearchRequest&)> changeDeep;  ///< none: as it is
};

std::vector<Variant> variants();

/// A collection held by the program's own engine.
class ProgramRanking {
  public:
    /// Keeps a reference to the embedder, which may be none; `vectors` has an entry a record, or
    /// none at all.
    ProgramRanking(const Collection& collection, const Variant& variant,
                   const TextEmbedder* embedder, const std::vector<Vector>& vectors);

    std::vector<std::size_t> topTen(const std::string& question) const;

  private:
    std::vector<RankedHit> hitsFor(const std::string& question) const;

    const Variant variant_;
    const TextEmbedder* embedder_;
    std::unique_ptr<RetrievalEngine> engine_;
};

}  // namespace nookery::relevance
