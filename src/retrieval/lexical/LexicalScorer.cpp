#include "retrieval/lexical/LexicalScorer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>
#include <unordered_map>

namespace nookery {
namespace {

/// So few hits of a block are scored at once, without bounds.
constexpr int fewHits = 2;

/// The number of blocks with the highest bounds that are scored first. They hold nearly all of the
/// best memories.
constexpr std::size_t promisingBlockCount = 64;

}  // namespace

TagMatches::TagMatches(const LexicalIndex& index, const std::vector<std::string>& requested,
                       const std::vector<std::string>& plain) {
    struct Counts {
        std::uint8_t requested = 0;
        std::uint8_t plain = 0;
    };
    std::unordered_map<Ordinal, Counts> counts;
    const auto count = [&](const std::string& tag, std::uint8_t Counts::*counter) {
        const auto* ordinals = index.taggedWith(tag);
        if (ordinals == nullptr) return;
        for (const Ordinal ordinal : *ordinals) {
            std::uint8_t& held = counts[ordinal].*counter;
            if (held < 255) ++held;
        }
    };
    for (const std::string& tag : requested) count(tag, &Counts::requested);
    for (const std::string& tag : plain) count(tag, &Counts::plain);
    accumulator_.reset(index.ordinalCount());
    for (const auto& [ordinal, held] : counts) {
        accumulator_.merge(ordinal, held.requested, held.plain);
    }
    accumulator_.summarise(index.alive());
}

/// A heap of the best memories so far, with the worst of them on top.
class LexicalScorer::TopMemories {
  public:
    TopMemories(const LexicalIndex& index, std::size_t limit) : index_(index), limit_(limit) {}

    bool isFull() const { return !heap_.empty() && heap_.size() == limit_; }
    /// The lowest score. Only when full.
    double least() const { return heap_.front().score; }

    /// Whether a memory with at most this score, created at `latest` or before, could come in.
    bool admits(double score, Timestamp latest) const {
        if (heap_.size() < limit_) return true;
        if (limit_ == 0 || score < heap_.front().score) return false;
        return score > heap_.front().score || latest >= index_.createdAt(heap_.front().ordinal);
    }

    void offer(Ordinal ordinal, double score) {
        const ScoredMemory offered{ordinal, score};
        const auto before = [this](const ScoredMemory& a, const ScoredMemory& b) {
            return isBefore(a, b);
        };
        if (heap_.size() == limit_) {
            if (!isBefore(offered, heap_.front())) return;
            std::pop_heap(heap_.begin(), heap_.end(), before);
            heap_.pop_back();
        }
        heap_.push_back(offered);
        std::push_heap(heap_.begin(), heap_.end(), before);
    }

    std::vector<ScoredMemory> take() {
        std::sort(heap_.begin(), heap_.end(),
                  [this](const ScoredMemory& a, const ScoredMemory& b) { return isBefore(a, b); });
        return std::move(heap_);
    }

  private:
    bool isBefore(const ScoredMemory& a, const ScoredMemory& b) const {
        if (a.score != b.score) return a.score > b.score;
        const Timestamp dateOfA = index_.createdAt(a.ordinal);
        const Timestamp dateOfB = index_.createdAt(b.ordinal);
        if (dateOfA != dateOfB) return dateOfA > dateOfB;
        return index_.item(a.ordinal)->id < index_.item(b.ordinal)->id;
    }

    const LexicalIndex& index_;
    std::size_t limit_;
    std::vector<ScoredMemory> heap_;
};

LexicalScorer::LexicalScorer(const LexicalIndex& index, std::vector<const TermMatches*> terms,
                             const TagMatches* tags)
    : index_(index), terms_(std::move(terms)), tags_(tags), hasExtras_(tags != nullptr) {
    double greatest =
        index_.weights().people + index_.weights().plainTag * static_cast<double>(terms_.size());
    for (const TermMatches* term : terms_) greatest += term->scoreBound();
    requestedTagWorth_ = index_.weights().requestedTag + (terms_.empty() ? 0 : greatest);
    // A person means each of a few words, but a memory may lack any word of a long question.
    const double brevity =
        std::min(1.0, index_.weights().shortQueryTerms /
                          static_cast<double>(std::max<std::size_t>(terms_.size(), 1)));
    const double power = index_.weights().coveragePower * brevity * brevity;
    for (std::size_t held = 0; held <= terms_.size(); ++held) {
        const double share = static_cast<double>(held) /
                             static_cast<double>(std::max<std::size_t>(terms_.size(), 1));
        // Rounded to a float, since powers may differ in a double's last bit between processors.
        coverage_.push_back(static_cast<float>(std::pow(share, power)));
    }
    for (const TermMatches* term : terms_) hasExtras_ = hasExtras_ || term->isInPeople();
    scratch_.resize(terms_.size());
    prepareUnits();
}

double LexicalScorer::worthOfTags(MatchScore tags) const {
    return requestedTagWorth_ * static_cast<double>(TagMatches::requestedCount(tags)) +
           index_.weights().plainTag * static_cast<double>(TagMatches::plainCount(tags));
}

double LexicalScorer::score(const MatchScore* terms, MatchScore tags) const {
    double weight = 0;
    double relevance = 0;
    std::size_t held = 0;
    std::uint8_t bits = 0;
    for (std::size_t i = 0; i < terms_.size(); ++i) {
        if (terms[i] == 0) continue;
        weight += terms_[i]->weight(terms[i]);
        relevance += terms_[i]->relevance(terms[i]);
        bits |= bitsOf(terms[i]);
        ++held;
    }
    if ((bits & peopleBit) != 0) weight += index_.weights().people;
    if (tags != 0) weight += worthOfTags(tags);
    return weight + coverage_[held] * relevance;
}

double LexicalScorer::scoreOf(Ordinal ordinal) const {
    std::vector<MatchScore> scores;
    for (const TermMatches* term : terms_) scores.push_back(term->accumulator().at(ordinal));
    return score(scores.data(),
                 tags_ == nullptr ? MatchScore{0} : tags_->accumulator().at(ordinal));
}

std::uint64_t LexicalScorer::hitsOf(std::size_t block) const {
    std::uint64_t hits = tags_ == nullptr ? 0 : tags_->accumulator().hits(block);
    for (const TermMatches* term : terms_) hits |= term->accumulator().hits(block);
    return hits;
}

double LexicalScorer::boundOf(std::size_t block) const {
    if (hasExtras_) {
        for (std::size_t i = 0; i < terms_.size(); ++i) {
            scratch_[i] = terms_[i]->accumulator().summary(block);
        }
        return score(scratch_.data(),
                     tags_ == nullptr ? MatchScore{0} : tags_->accumulator().summary(block));
    }
    double weight = 0;
    double relevance = 0;
    std::size_t held = 0;
    for (const TermMatches* term : terms_) {
        const TermMatches::BlockMax& best = term->blockMax(block);
        weight += best.weight;
        relevance += best.relevance;
        held += best.isHeld ? 1 : 0;
    }
    return weight + coverage_[held] * relevance;
}

/// Brings the terms' upper lines to 16-bit fixed point, so that `boundsIn` adds many at a time.
void LexicalScorer::prepareUnits() {
    constexpr double greatestSlope = 250;  // times a strength of 255 it fits 16 bits
    constexpr double greatestSum = 60000;
    double steepest = 1;
    double sum = index_.weights().people;
    for (const TermMatches* term : terms_) {
        steepest = std::max(steepest, term->upperLine(0).slope * 256);
        sum += term->scoreBound() + 1;
    }
    unitsPerPoint_ = std::min(greatestSlope / steepest, greatestSum / sum);
    for (const TermMatches* term : terms_) {
        auto& lines = unitLines_.emplace_back();
        for (std::size_t row = 0; row < lines.size(); ++row) {
            const TermMatches::Line line = term->upperLine(row);
            // One unit more, since the division by 256 rounds down.
            lines[row].start =
                static_cast<std::uint16_t>(std::ceil(line.start * unitsPerPoint_) + 1);
            lines[row].slope =
                static_cast<std::uint16_t>(std::ceil(line.slope * 256 * unitsPerPoint_));
        }
    }
}

LexicalScorer::BlockBounds LexicalScorer::boundsIn(std::size_t block) const {
    BlockBounds bounds{};
    std::uint16_t forPeople = 0;
    for (std::size_t t = 0; t < terms_.size(); ++t) {
        const MatchScore summary = terms_[t]->accumulator().summary(block);
        if (summary == 0) continue;
        const auto [start, slope] = unitLines_[t][TermMatches::rowOf(bitsOf(summary))];
        const ScoreAccumulator::Block scores = terms_[t]->accumulator().block(block);
        for (std::size_t i = 0; i < bounds.size(); ++i) {
            const std::uint16_t strength = scores[i] >> 8;
            const std::uint16_t held = scores[i] != 0 ? 0xFFFF : 0;
            bounds[i] = static_cast<std::uint16_t>(
                bounds[i] + (start & held) + (static_cast<std::uint16_t>(strength * slope) >> 8));
        }
        if ((bitsOf(summary) & peopleBit) != 0) {
            forPeople =
                static_cast<std::uint16_t>(std::ceil(index_.weights().people * unitsPerPoint_));
        }
    }
    if (forPeople != 0) {
        for (std::uint16_t& bound : bounds) bound = static_cast<std::uint16_t>(bound + forPeople);
    }
    return bounds;
}

void LexicalScorer::scoreMemory(std::size_t block, std::size_t place, TopMemories& best) const {
    for (std::size_t i = 0; i < terms_.size(); ++i) {
        scratch_[i] = terms_[i]->accumulator().block(block)[place];
    }
    const MatchScore tags =
        tags_ == nullptr ? MatchScore{0} : tags_->accumulator().block(block)[place];
    const double total = score(scratch_.data(), tags);
    const auto ordinal = static_cast<Ordinal>(block * ScoreAccumulator::blockSize + place);
    if (best.admits(total, index_.createdAt(ordinal))) best.offer(ordinal, total);
}

void LexicalScorer::scan(std::size_t block, std::uint64_t hits, TopMemories& best) const {
    const bool tagged = tags_ != nullptr && tags_->accumulator().summary(block) != 0;
    if (!tagged && best.isFull() && std::popcount(hits) > fewHits) {
        const BlockBounds bounds = boundsIn(block);
        const auto needed = static_cast<std::uint16_t>(
            std::clamp(std::floor(best.least() * unitsPerPoint_), 0.0, 65535.0));
        std::uint16_t highest = 0;
        for (const std::uint16_t bound : bounds) highest = std::max(highest, bound);
        if (highest < needed) return;
        for (std::uint64_t rest = hits; rest != 0; rest &= rest - 1) {
            const auto place = static_cast<std::size_t>(std::countr_zero(rest));
            if (bounds[place] >= needed) scoreMemory(block, place, best);
        }
        return;
    }
    for (std::uint64_t rest = hits; rest != 0; rest &= rest - 1) {
        scoreMemory(block, static_cast<std::size_t>(std::countr_zero(rest)), best);
    }
}

/// Removes the candidates' hits that hold no essential term. The weakest terms are not essential
/// when all of them together give less than the lowest score among the best: a memory that holds
/// only such terms cannot come in.
void LexicalScorer::keepEssential(std::span<CandidateBlock> candidates,
                                  const TopMemories& best) const {
    if (hasExtras_ || !best.isFull()) return;
    std::vector<const TermMatches*> essential = terms_;
    std::sort(essential.begin(), essential.end(), [](const TermMatches* a, const TermMatches* b) {
        return a->maxScore() > b->maxScore();
    });
    constexpr double roundingError = 1e-9;
    double rest = roundingError;
    while (!essential.empty() && rest + essential.back()->maxScore() < best.least()) {
        rest += essential.back()->maxScore();
        essential.pop_back();
    }
    if (essential.size() == terms_.size()) return;
    for (CandidateBlock& candidate : candidates) {
        std::uint64_t hits = 0;
        for (const TermMatches* term : essential) hits |= term->accumulator().hits(candidate.block);
        candidate.hits &= hits;
    }
}

LexicalRanking LexicalScorer::rank(std::size_t limit) const {
    LexicalRanking ranking;
    std::vector<CandidateBlock> candidates;
    const std::size_t blockCount = ScoreAccumulator::blockCountFor(index_.ordinalCount());
    candidates.reserve(blockCount);
    for (std::size_t block = 0; block < blockCount; ++block) {
        const std::uint64_t hits = hitsOf(block);
        if (hits == 0) continue;
        ranking.totalCount += static_cast<std::size_t>(std::popcount(hits));
        candidates.push_back({boundOf(block), hits, static_cast<std::uint32_t>(block)});
    }
    TopMemories best(index_, limit);
    // The blocks with the highest bounds come first, so that most of the others can be skipped.
    const std::size_t promising = std::min(promisingBlockCount, candidates.size());
    std::nth_element(
        candidates.begin(), candidates.begin() + static_cast<std::ptrdiff_t>(promising),
        candidates.end(),
        [](const CandidateBlock& a, const CandidateBlock& b) { return a.bound > b.bound; });
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        if (i == promising) keepEssential(std::span(candidates).subspan(promising), best);
        const CandidateBlock& candidate = candidates[i];
        if (candidate.hits == 0) continue;
        if (best.admits(candidate.bound, index_.newestIn(candidate.block))) {
            scan(candidate.block, candidate.hits, best);
        }
    }
    ranking.best = best.take();
    return ranking;
}

}  // namespace nookery
