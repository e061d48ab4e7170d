#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "relevance/Collection.h"

namespace nookery::relevance {

/// Ranks records for a question, best first; ten are enough.
using Ranker = std::function<std::vector<std::size_t>(const std::string& question)>;

/// Means over the questions, from the first ten records of each ranking.
struct Measures {
    double ndcg = 0;            ///< normalised discounted cumulative gain, binary relevance
    double recall = 0;          ///< share of the answers found (of ten, when there are more)
    double reciprocalRank = 0;  ///< one over the rank of the first answer
    double hit = 0;             ///< share of the questions with an answer
};

Measures measured(const Collection& collection, const Ranker& ranker);

}  // namespace nookery::relevance
