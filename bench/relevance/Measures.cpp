#include "relevance/Measures.h"

#include <algorithm>
#include <cmath>

namespace nookery::relevance {
namespace {

constexpr std::size_t depth = 10;

double gain(std::size_t rank) { return 1 / std::log2(static_cast<double>(rank) + 2); }

Measures measuresOf(const std::set<std::size_t>& relevant,
                    const std::vector<std::size_t>& ranking) {
    Measures result;
    double found = 0;
    for (std::size_t rank = 0; rank < std::min(depth, ranking.size()); ++rank) {
        if (!relevant.contains(ranking[rank])) continue;
        result.ndcg += gain(rank);
        if (found == 0) result.reciprocalRank = 1 / static_cast<double>(rank + 1);
        ++found;
    }
    double bestGain = 0;
    for (std::size_t rank = 0; rank < std::min(depth, relevant.size()); ++rank)
        bestGain += gain(rank);
    result.ndcg /= bestGain;
    result.recall = found / static_cast<double>(std::min(depth, relevant.size()));
    result.hit = found > 0 ? 1 : 0;
    return result;
}

}  // namespace

Measures measured(const Collection& collection, const Ranker& ranker) {
    Measures sum;
    for (const Question& question : collection.questions) {
        const Measures one = measuresOf(question.relevant, ranker(question.text));
        sum.ndcg += one.ndcg;
        sum.recall += one.recall;
        sum.reciprocalRank += one.reciprocalRank;
        sum.hit += one.hit;
    }
    const auto count = static_cast<double>(collection.questions.size());
    return {sum.ndcg / count, sum.recall / count, sum.reciprocalRank / count, sum.hit / count};
}

}  // namespace nookery::relevance
