#include "retrieval/DeepSearchGathering.h"

#include <algorithm>

#include "foundation/Text.h"
#include "retrieval/Hashtags.h"
#include "retrieval/TextNormalizer.h"

namespace nookery {
namespace {

/// Keeps gathering within its time: what connects a text stands at its beginning, too.
constexpr int associationReadLimit = 256;
constexpr std::size_t fewestAssociationLetters = 4;
constexpr std::size_t fewestSubstringLetters = 3;

bool holdsToken(std::string_view form, std::string_view token) {
    const auto tokens = splitWhiteSpace(form);
    return std::find(tokens.begin(), tokens.end(), token) != tokens.end();
}

/// Tells whether a memory's title or tags hold every word typed.
class FullMatch {
  public:
    FullMatch(const LexicalIndex& index, const LexicalSnapshot& snapshot) {
        for (const std::string& term : snapshot.literalTerms) {
            words_.push_back({normalForm(term), index.taggedWith(comparableTag(term))});
        }
        for (const std::string& tag : snapshot.requestedTags) {
            words_.push_back({"", index.taggedWith(tag)});
        }
    }

    bool operator()(Ordinal ordinal, const std::string& title) const {
        const std::string form = normalForm(title);
        return std::all_of(words_.begin(), words_.end(), [&](const Word& word) {
            return isTagged(word, ordinal) || isIn(word.form, form);
        });
    }

  private:
    struct Word {
        std::string form;  ///< empty when only a tag can hold it
        const std::vector<Ordinal>* tagged = nullptr;
    };

    static bool isTagged(const Word& word, Ordinal ordinal) {
        return word.tagged != nullptr &&
               std::binary_search(word.tagged->begin(), word.tagged->end(), ordinal);
    }
    static bool isIn(const std::string& word, const std::string& title) {
        if (word.empty()) return false;
        return word.size() < fewestSubstringLetters ? holdsToken(title, word)
                                                    : title.find(word) != std::string::npos;
    }

    std::vector<Word> words_;
};

/// Brings the lexical scores of a query to the deep stage's scale, whatever its number of words.
double scaleOf(const RankingWeights& weights, const LexicalSnapshot& snapshot) {
    if (snapshot.fullMatchScore <= weights.deepFullMatchScore) return 1;
    return weights.deepFullMatchScore / snapshot.fullMatchScore;
}

DeepCandidate candidateOf(const LexicalIndex& index, const VectorMatrix& vectors,
                          const LexicalSnapshot& snapshot, const Uuid& id, Ordinal ordinal) {
    DeepCandidate candidate;
    candidate.item = index.item(ordinal);
    candidate.lexicalScore = snapshot.scores.at(id) * scaleOf(index.weights(), snapshot);
    candidate.hint = snapshot.hints.at(id);
    candidate.associationTokens = associationTokens(index, ordinal);
    candidate.vectorRow = vectors.rowOf(id);
    return candidate;
}

}  // namespace

std::shared_ptr<const DeepSearchRequest> gatherDeepSearch(const LexicalIndex& index,
                                                          const VectorMatrix& vectors,
                                                          const LexicalSnapshot& snapshot,
                                                          const UsageSignals& usage, Date now) {
    auto request = std::make_shared<DeepSearchRequest>();
    request->words = snapshot.understoodText;
    request->lexicalCount = snapshot.totalCount;
    request->admitsBySimilarity = snapshot.tellingCount < deepSemanticFallbackThreshold;
    request->vectors = vectors.view();
    request->usage = usage;
    request->now = now;
    const FullMatch holdsEveryWord(index, snapshot);
    const auto count = std::min(snapshot.rankedIDs.size(), deepCandidateLimit);
    request->candidates.reserve(count);
    for (const Uuid& id : std::span(snapshot.rankedIDs).first(count)) {
        const auto ordinal = index.ordinalOf(id);
        if (!ordinal) continue;
        auto candidate = candidateOf(index, vectors, snapshot, id, *ordinal);
        candidate.holdsEveryWord = holdsEveryWord(*ordinal, candidate.item->title);
        request->candidates.push_back(std::move(candidate));
    }
    return request;
}

std::vector<AssociationToken> associationTokens(const LexicalIndex& index, Ordinal ordinal) {
    std::vector<AssociationToken> tokens;
    TokenStream stream = index.stream(ordinal);
    for (int read = 0; read < associationReadLimit && stream.next(); ++read) {
        if (!stream.atToken() || stream.section() == Section::tags) continue;
        const TokenId token = stream.token();
        const std::size_t memoryCount = index.documentFrequency(token);
        if (!isAssociating(memoryCount, index.size())) continue;
        if (index.tokenText(token).size() < fewestAssociationLetters) continue;
        tokens.push_back({token, associationRarity(memoryCount, index.size())});
    }
    const auto byToken = [](const auto& a, const auto& b) { return a.token < b.token; };
    std::sort(tokens.begin(), tokens.end(), byToken);
    const auto isSame = [](const auto& a, const auto& b) { return a.token == b.token; };
    tokens.erase(std::unique(tokens.begin(), tokens.end(), isSame), tokens.end());
    return tokens;
}

}  // namespace nookery
