#include "retrieval/related/RelatedMemories.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>

#include "retrieval/deep/CandidateRetrieval.h"
#include "retrieval/related/TextSimilarity.h"
#include "retrieval/related/VersionFamily.h"

namespace nookery {
namespace {

constexpr double leastAssociationValue = 0.36;
constexpr std::size_t fewestSharedWords = 2;
constexpr double leastCosine = 0.46;

/// How many of the memories that share the rarest words get an exact association value.
constexpr std::size_t exactAssociationLimit = 64;

/// More than all other strengths together, so that near-duplicates always come first.
constexpr double nearDuplicateStrength = 10;

using Strengths = std::unordered_map<Ordinal, double>;

/// The order of equals, which depends on nothing but the memories.
bool isNewer(const CrumbItem& a, const CrumbItem& b) {
    return a.createdAt != b.createdAt ? a.createdAt > b.createdAt : a.id < b.id;
}

/// Counts what each memory shares with one memory, by the postings of that one's tokens.
class SharedTokens {
  public:
    explicit SharedTokens(const LexicalIndex& index)
        : index_(index), rarity_(index.ordinalCount()), count_(index.ordinalCount()) {}

    void add(std::span<const AssociationToken> tokens) {
        std::vector<TokenId> numbers;
        for (const AssociationToken& each : tokens) numbers.push_back(each.token);
        const Postings& postings = index_.postingsOf(numbers);
        for (const AssociationToken& each : tokens) {
            addAll(postings.mainList(each.token).ordinals, each.rarity);
            addAll(postings.auxiliaryList(each.token).ordinals, each.rarity);
        }
    }

    /// The memories alive that share at least one token, each once.
    const std::vector<Ordinal>& holders() const { return holders_; }
    double rarity(Ordinal ordinal) const { return rarity_[ordinal]; }
    std::size_t count(Ordinal ordinal) const { return count_[ordinal]; }

  private:
    void addAll(std::span<const Ordinal> ordinals, float rarity) {
        for (const Ordinal ordinal : ordinals) {
            if (!index_.isAlive(ordinal)) continue;
            if (count_[ordinal]++ == 0) holders_.push_back(ordinal);
            rarity_[ordinal] += rarity;
        }
    }

    const LexicalIndex& index_;
    std::vector<double> rarity_;  // sums of floats, exact and so the same in any order
    std::vector<std::uint32_t> count_;
    std::vector<Ordinal> holders_;
};

/// Compares the contents of other memories with those of one.
class ContentsComparison {
  public:
    ContentsComparison(const LexicalIndex& index, Ordinal self)
        : index_(index), ownTokens_(index.vocabulary().size()), seen_(index.vocabulary().size()) {
        std::size_t tokenCount = 0;
        forEachContentsToken(self, [&](TokenId token) {
            ++tokenCount;
            length_ += index_.vocabulary().text(token).size() + 1;
            if (!ownTokens_[token]) distinct_.push_back(token);
            ownTokens_[token] = true;
            return true;
        });
        takesPart_ = tokenCount >= leastComparedTokens && length_ > leastComparedLength;
        if (takesPart_) text_ = contentsText(self);
    }

    bool takesPart() const { return takesPart_; }

    /// Some of its distinct tokens, and how many of these every near-duplicate holds at least.
    struct FilterTokens {
        std::vector<TokenId> tokens;
        std::size_t leastShared = 1;
    };

    /// Prefix filtering: a near-duplicate holds at least `needed` of the n distinct tokens and
    /// lacks at most n - needed. So it holds at least k of any n - needed + k tokens. The rarest
    /// tokens leave the fewest candidates; a k above 1 leaves out memories that share a word by
    /// chance.
    FilterTokens filterTokens() {
        const auto needed = static_cast<std::size_t>(
            std::ceil(leastTokenOverlap * static_cast<double>(distinct_.size())));
        const std::size_t leastShared = 1 + needed / 8;
        const std::size_t count = distinct_.size() - needed + leastShared;
        const auto end = distinct_.begin() + static_cast<std::ptrdiff_t>(count);
        std::nth_element(distinct_.begin(), end - 1, distinct_.end(), [&](TokenId a, TokenId b) {
            return index_.documentFrequency(a) < index_.documentFrequency(b);
        });
        return {{distinct_.begin(), end}, leastShared};
    }

    /// The token overlap with another memory that is a near-duplicate; 0 for any other memory.
    double similarityTo(Ordinal other) {
        const TokenCounts counts = countTokens(other);
        const TokenVerdict verdict = verdictByTokens(counts);
        if (verdict == TokenVerdict::different) return 0;
        const std::string otherText = contentsText(other);
        if (!isLongEnough_) return 0;
        if (verdict == TokenVerdict::decidedByCharacters &&
            !areNearDuplicates(counts, characterRatio(text_, otherText))) {
            return 0;
        }
        return tokenOverlap(counts);
    }

  private:
    /// Calls `visit` for each token of the contents until it answers false.
    template <typename Visit>
    void forEachContentsToken(Ordinal ordinal, Visit visit) const {
        TokenStream stream = index_.stream(ordinal);
        while (stream.next() && stream.section() <= Section::contents) {
            if (!stream.atToken() || stream.section() != Section::contents) continue;
            if (!visit(stream.token())) return;
        }
    }

    /// Stops early, with counts that make no near-duplicate, once the other text has too many
    /// tokens of its own.
    TokenCounts countTokens(Ordinal other) {
        ++round_;
        TokenCounts counts{.first = distinct_.size()};
        const auto mostOwn = static_cast<std::size_t>((1 / leastTokenOverlap - 1) *
                                                      static_cast<double>(distinct_.size()));
        forEachContentsToken(other, [&](TokenId token) {
            if (seen_[token] == round_) return true;
            seen_[token] = round_;
            ++counts.second;
            if (ownTokens_[token]) ++counts.shared;
            return counts.second - counts.shared <= mostOwn;
        });
        return counts;
    }

    /// The first part of the contents' normal form. Sets whether the contents are long enough.
    std::string contentsText(Ordinal ordinal) {
        constexpr std::size_t enough = 1024;
        std::string text;
        std::size_t tokenCount = 0;
        forEachContentsToken(ordinal, [&](TokenId token) {
            if (!text.empty()) text += ' ';
            text += index_.vocabulary().text(token);
            ++tokenCount;
            return text.size() < enough || tokenCount < leastComparedTokens;
        });
        isLongEnough_ = text.size() >= leastComparedLength && tokenCount >= leastComparedTokens;
        return text;
    }

    const LexicalIndex& index_;
    std::vector<bool> ownTokens_;      // by token
    std::vector<std::uint32_t> seen_;  // by token: the last round that counted it
    std::uint32_t round_ = 0;
    std::vector<TokenId> distinct_;
    std::size_t length_ = 0;
    std::string text_;
    bool takesPart_ = false;
    bool isLongEnough_ = false;
};

void addNearDuplicates(const LexicalIndex& index, Ordinal self, Strengths& strengths) {
    ContentsComparison contents(index, self);
    if (!contents.takesPart()) return;
    SharedTokens shared(index);
    const auto filter = contents.filterTokens();
    std::vector<AssociationToken> tokens;
    for (const TokenId token : filter.tokens) tokens.push_back({token, 1});
    shared.add(tokens);
    for (const Ordinal other : shared.holders()) {
        if (other == self || shared.count(other) < filter.leastShared) continue;
        const double similarity = contents.similarityTo(other);
        if (similarity > 0) strengths[other] += nearDuplicateStrength + similarity;
    }
}

void addAssociated(const LexicalIndex& index, Ordinal self, Strengths& strengths) {
    const auto tokens = associationTokens(index, self);
    SharedTokens shared(index);
    shared.add(tokens);
    std::vector<Ordinal> partners;
    for (const Ordinal other : shared.holders()) {
        if (other != self && shared.count(other) >= fewestSharedWords) partners.push_back(other);
    }
    const auto hasMore = [&](Ordinal a, Ordinal b) {
        if (shared.rarity(a) != shared.rarity(b)) return shared.rarity(a) > shared.rarity(b);
        return isNewer(*index.item(a), *index.item(b));
    };
    const std::size_t count = std::min(partners.size(), exactAssociationLimit);
    std::partial_sort(partners.begin(), partners.begin() + static_cast<std::ptrdiff_t>(count),
                      partners.end(), hasMore);
    const double ownSum = associationSum(tokens);
    for (const Ordinal other : std::span(partners).first(count)) {
        const double otherSum = associationSum(associationTokens(index, other));
        const double value = std::min(1.0, shared.rarity(other) / std::min(ownSum, otherSum));
        if (value >= leastAssociationValue) strengths[other] += value;
    }
}

void addSimilarInMeaning(const LexicalIndex& index, const VectorMatrix& vectors, const Uuid& id,
                         Strengths& strengths) {
    const auto row = vectors.rowOf(id);
    if (!row) return;
    const VectorView view = vectors.view();
    for (const VectorMatch& match :
         view.mostSimilar(view.row(*row), leastCosine, 2 * relatedLimit, {})) {
        const auto ordinal = index.ordinalOf(match.item->id);
        if (ordinal && match.item->id != id) strengths[*ordinal] += match.cosine;
    }
}

/// The token overlap of two files' names.
double sharedWords(const std::string& file, const std::string& otherFile) {
    const auto words = versionFreeWords(file);
    const auto otherWords = versionFreeWords(otherFile);
    const std::unordered_set<std::string> first(words.begin(), words.end());
    const std::unordered_set<std::string> second(otherWords.begin(), otherWords.end());
    TokenCounts counts{.first = first.size(), .second = second.size()};
    for (const std::string& word : first) counts.shared += second.count(word);
    return tokenOverlap(counts);
}

void addOtherFormats(const LexicalIndex& index, FileFamilies& families, const CrumbItem& item,
                     Strengths& strengths) {
    for (const CrumbItemPointer& other : families.otherFormatsOf(item.id)) {
        strengths[*index.ordinalOf(other->id)] +=
            leastAssociationValue + sharedWords(*item.filePath, *other->filePath);
    }
}

}  // namespace

std::vector<Uuid> findRelated(const LexicalIndex& index, const VectorMatrix& vectors,
                              FileFamilies& families, const Uuid& id) {
    const auto self = index.ordinalOf(id);
    if (!self) return {};
    Strengths strengths;
    addNearDuplicates(index, *self, strengths);
    addAssociated(index, *self, strengths);
    addSimilarInMeaning(index, vectors, id, strengths);
    addOtherFormats(index, families, *index.item(*self), strengths);
    std::erase_if(strengths, [&](const auto& entry) {
        return families.areVersions(id, index.item(entry.first)->id);
    });
    std::vector<std::pair<Ordinal, double>> ranked(strengths.begin(), strengths.end());
    std::sort(ranked.begin(), ranked.end(), [&](const auto& a, const auto& b) {
        if (a.second != b.second) return a.second > b.second;
        return isNewer(*index.item(a.first), *index.item(b.first));
    });
    std::vector<Uuid> ids;
    for (const auto& [ordinal, strength] : ranked) {
        if (ids.size() == relatedLimit) break;
        ids.push_back(index.item(ordinal)->id);
    }
    return ids;
}

}  // namespace nookery
