#include "retrieval/deep/CandidateRetrieval.h"

#include <algorithm>

#include "foundation/Text.h"
#include "retrieval/text/Hashtags.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

/// Bounds the time for long texts, whose beginning tells enough.
constexpr int associationReadLimit = 256;
constexpr std::size_t fewestAssociationLetters = 4;
constexpr std::size_t fewestSubstringLetters = 3;

bool holdsToken(std::string_view form, std::string_view token) {
    const auto tokens = splitWhiteSpace(form);
    return std::find(tokens.begin(), tokens.end(), token) != tokens.end();
}

bool isTagged(const std::vector<Ordinal>* tagged, Ordinal ordinal) {
    return tagged != nullptr && std::binary_search(tagged->begin(), tagged->end(), ordinal);
}

/// Tells which words and tags of the query a memory's title and tags hold.
class TitleAndTags {
  public:
    TitleAndTags(const LexicalIndex& index, const LexicalSnapshot& snapshot) {
        for (const std::string& term : snapshot.literalTerms) {
            const std::string form = combinedForm(term);
            if (!form.empty()) words_.push_back({form, index.taggedWith(comparableTag(term))});
        }
        for (const std::string& tag : snapshot.requestedTags) {
            requestedTags_.push_back(index.taggedWith(tag));
        }
    }

    std::size_t requestedTagCount(Ordinal ordinal) const {
        return static_cast<std::size_t>(
            std::count_if(requestedTags_.begin(), requestedTags_.end(),
                          [&](const auto* tagged) { return isTagged(tagged, ordinal); }));
    }
    bool holdEverything(Ordinal ordinal, const std::string& title) const {
        if (requestedTagCount(ordinal) < requestedTags_.size()) return false;
        const std::string form = combinedForm(title);
        return std::all_of(words_.begin(), words_.end(), [&](const Word& word) {
            return isTagged(word.tagged, ordinal) || isIn(word.form, form);
        });
    }

  private:
    struct Word {
        std::string form;
        const std::vector<Ordinal>* tagged = nullptr;  ///< the memories tagged with the word
    };

    static bool isIn(const std::string& word, const std::string& title) {
        return word.size() < fewestSubstringLetters ? holdsToken(title, word)
                                                    : title.find(word) != std::string::npos;
    }

    std::vector<Word> words_;
    std::vector<const std::vector<Ordinal>*> requestedTags_;
};

/// The factor that brings a query's lexical scores to the deep stage's scale.
double scaleOf(const RankingWeights& weights, const LexicalSnapshot& snapshot) {
    if (snapshot.fullMatchScore <= weights.deepFullMatchScore) return 1;
    return weights.deepFullMatchScore / snapshot.fullMatchScore;
}

}  // namespace

std::shared_ptr<const DeepSearchRequest> retrieveCandidates(const LexicalIndex& index,
                                                            const VectorMatrix& vectors,
                                                            const LexicalSnapshot& snapshot,
                                                            const UsageSignals& usage,
                                                            Timestamp now) {
    auto request = std::make_shared<DeepSearchRequest>();
    request->words = snapshot.correctedText;
    request->lexicalCount = snapshot.totalCount;
    request->admitsBySimilarity = snapshot.strongHitCount < deepSemanticFallbackThreshold;
    request->vectors = vectors.view();
    request->usage = usage;
    request->now = now;
    const TitleAndTags titleAndTags(index, snapshot);
    const double scale = scaleOf(index.weights(), snapshot);
    request->fullMatchScore = snapshot.fullMatchScore * scale;
    const auto count = std::min(snapshot.rankedIDs.size(), deepCandidateLimit);
    request->candidates.reserve(count);
    for (const Uuid& id : std::span(snapshot.rankedIDs).first(count)) {
        const auto ordinal = index.ordinalOf(id);
        if (!ordinal) continue;
        const CrumbItemPointer& item = index.item(*ordinal);
        request->candidates.push_back(
            {.item = item,
             .lexicalScore = snapshot.scores.at(id) * scale,
             .hint = snapshot.hints.at(id),
             .requestedTagCount = titleAndTags.requestedTagCount(*ordinal),
             .holdsEveryWord = titleAndTags.holdEverything(*ordinal, item->title),
             .holdsWordsSomewhere = snapshot.holdingAllWords.contains(id),
             .associationTokens = associationTokens(index, *ordinal),
             .vectorRow = vectors.rowOf(id)});
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
        if (index.vocabulary().text(token).size() < fewestAssociationLetters) continue;
        tokens.push_back({token, associationRarity(memoryCount, index.size())});
    }
    const auto byToken = [](const auto& a, const auto& b) { return a.token < b.token; };
    std::sort(tokens.begin(), tokens.end(), byToken);
    const auto isSame = [](const auto& a, const auto& b) { return a.token == b.token; };
    tokens.erase(std::unique(tokens.begin(), tokens.end(), isSame), tokens.end());
    return tokens;
}

}  // namespace nookery
