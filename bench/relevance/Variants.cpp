#include "relevance/Variants.h"

#include <algorithm>

#include "relevance/Memories.h"

namespace nookery::relevance {
namespace {

/// A year after the records were captured, so that age speaks for none of them.
constexpr Timestamp now{1.6e9 + 365 * 86400.0};

RankingWeights changed(const Variant& variant) {
    RankingWeights weights;
    if (variant.change) variant.change(weights);
    return weights;
}

}  // namespace

std::vector<Variant> variants() {
    using Weights = RankingWeights;
    return {
        {"fixed weights only",
         Stage::lexical,
         [](Weights& w) {
             w.relevance = 0;
             w.greatestStrength = 1;
         },
         {}},
        {"words", Stage::lexical, {}, {}},
        {"words, deep stage without meaning", Stage::deep, {}, {}},
        {"words and meaning (as shown)", Stage::meaning, {}, {}},
        {"  no relevance", Stage::meaning, [](Weights& w) { w.relevance = 0; }, {}},
        {"  frequency does not count", Stage::meaning, [](Weights& w) { w.saturation = 0; }, {}},
        {"  length does not count", Stage::meaning, [](Weights& w) { w.lengthInfluence = 0; }, {}},
        {"  fields far apart",
         Stage::meaning,
         [](Weights& w) {
             w.bandFloor = {0.62, 0.50, 0.06, 0.01};
             w.bandWidth = {0.38, 0.12, 0.44, 0.04};
         },
         {}},
        {"  no other forms of a word", Stage::meaning, [](Weights& w) { w.stemShare = 0; }, {}},
        {"  parts of words count in full",
         Stage::meaning,
         [](Weights& w) {
             w.kindFactor = {1, 1, 1, 1};
         },
         {}},
        {"  grammar words count in full",
         Stage::meaning,
         [](Weights& w) { w.functionWordRarity = 1; },
         {}},
        {"  coverage does not count", Stage::meaning, [](Weights& w) { w.coveragePower = 0; }, {}},
        {"  coverage counts in long questions",
         Stage::meaning,
         [](Weights& w) { w.shortQueryTerms = 1000; },
         {}},
        {"  corrections count little",
         Stage::meaning,
         [](Weights& w) { w.correctionShare = 0.05; },
         {}},
        {"  no corrections of prefixes",
         Stage::meaning,
         [](Weights& w) { w.fewestPrefixLetters = 1000; },
         {}},
        {"  no corrections of words inside others",
         Stage::meaning,
         [](Weights& w) { w.insideCorrectionShare = 0; },
         {}},
        {"  words not brought to one scale",
         Stage::meaning,
         [](Weights& w) { w.deepFullMatchScore = 1e9; },
         {}},
        {"  no association",
         Stage::meaning,
         {},
         [](DeepSearchRequest& request) {
             for (auto& candidate : request.candidates) candidate.associationTokens.clear();
         }},
        {"  nothing admitted by meaning",
         Stage::meaning,
         {},
         [](DeepSearchRequest& request) { request.admitsBySimilarity = false; }},
    };
}

ProgramRanking::ProgramRanking(const Collection& collection, const Variant& variant,
                               const TextEmbedder* embedder, const std::vector<Vector>& vectors)
    : variant_(variant),
      embedder_(variant.stage == Stage::meaning ? embedder : nullptr),
      engine_(std::make_unique<RetrievalEngine>(changed(variant))) {
    engine_->putAll(memoriesOf(collection.records), attributesOf(collection.records));
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        engine_->setVector(idOfRecord(i),
                           std::vector<double>(vectors[i].begin(), vectors[i].end()));
    }
}

std::vector<RankedHit> ProgramRanking::hitsFor(const std::string& question) const {
    const auto snapshot = engine_->search(question, deepCandidateLimit);
    if (variant_.stage != Stage::lexical) {
        DeepSearchRequest request = *engine_->prepareDeepSearch(snapshot, {}, now);
        if (variant_.changeDeep) variant_.changeDeep(request);
        return RetrievalEngine::deepSearch(request, embedder_, {}).hits;
    }
    std::vector<RankedHit> hits;
    for (const Uuid& id : snapshot.rankedIDs) hits.push_back({id, snapshot.scores.at(id), ""});
    return hits;
}

std::vector<std::size_t> ProgramRanking::topTen(const std::string& question) const {
    const auto hits = hitsFor(question);
    std::vector<std::size_t> ranking;
    for (std::size_t i = 0; i < std::min<std::size_t>(10, hits.size()); ++i) {
        ranking.push_back(recordOfId(hits[i].id));
    }
    return ranking;
}

}  // namespace nookery::relevance
