#include "retrieval/index/LexicalIndex.h"

#include <algorithm>
#include <deque>
#include <future>
#include <numeric>
#include <thread>
#include <utility>

#include "retrieval/index/RecordStream.h"
#include "retrieval/index/TokenBatch.h"

namespace nookery {
namespace {

/// With fewer changes than this the postings are not derived anew.
constexpr std::size_t fewestChanges = 4096;

/// How many memories are read for what is due for all of them when one comes in. Large enough that
/// it ends long before it is due again.
constexpr std::size_t memoriesAtATime = 8;

/// How many memories `putAll` reads at a time.
constexpr std::size_t batchSize = 256;

/// Where postings are derived as needed, all are once this many passes over the memories were
/// made: that many cost about as much.
constexpr std::size_t mostPasses = 12;

/// The average length while the index is empty.
constexpr double assumedAverageLength = 30;

/// Copies a stream with other numbers in place of its tokens', and its end.
template <typename NumberFor>
void copyStream(TokenStream stream, TokenStreamWriter& writer, NumberFor numberFor) {
    for (Section section = Section::lineBreak; stream.next(); section = stream.section()) {
        if (stream.atToken()) {
            writer.add(numberFor(stream.section(), stream.token()));
        } else {
            writer.begin(stream.section() == section ? Section::lineBreak : stream.section());
        }
    }
}

/// The places of the items. Among equal scores the newest are shown, and they are then found in
/// the first blocks.
std::vector<std::size_t> newestFirst(std::span<const CrumbItemPointer> items) {
    std::vector<std::size_t> order(items.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return items[a]->createdAt > items[b]->createdAt;
    });
    return order;
}

const MemoryAttributes noAttributes;

}  // namespace

class LexicalIndex::Derivation {
  public:
    Derivation(const LexicalIndex& index, double average)
        : averageLength(average), alive_(index.alive_), end_(index.items_.size()) {
        postings.reserve(index.documentFrequencies_);
        filler.emplace(postings, Postings::Filler::Direction::fromFront);
    }

    bool isComplete() const { return next_ == end_; }
    std::size_t end() const { return end_; }
    /// The next memory to be placed; none when it was dead at the beginning. One that has died
    /// since is placed all the same, since room was made for it.
    std::optional<Ordinal> next() {
        const std::size_t ordinal = next_++;
        const std::uint64_t block = alive_[ordinal / ScoreAccumulator::blockSize];
        if ((block >> ordinal % ScoreAccumulator::blockSize & 1) == 0) return std::nullopt;
        return static_cast<Ordinal>(ordinal);
    }

    Postings postings;
    std::optional<Postings::Filler> filler;
    double averageLength;

  private:
    std::vector<std::uint64_t> alive_;
    std::size_t next_ = 0;
    std::size_t end_;
};

LexicalIndex::~LexicalIndex() = default;
LexicalIndex::LexicalIndex(LexicalIndex&&) noexcept = default;
LexicalIndex& LexicalIndex::operator=(LexicalIndex&&) noexcept = default;

LexicalIndex::LexicalIndex(const RankingWeights& weights)
    : weights_(weights),
      meanings_(sectionMeanings(weights)),
      termFrequencies_(meanings_),
      averageLength_(assumedAverageLength) {}

void LexicalIndex::put(const CrumbItemPointer& item, const MemoryAttributes& attributes) {
    ++version_;
    if (partly_) derivePostings();
    bury(item->id);
    writeSearchRecord(*item, attributes, record_);
    add(item, record_);
    maintain();
}

void LexicalIndex::add(const CrumbItemPointer& item, const SearchRecord& record) {
    const Ordinal ordinal = append(item, record);
    appendPostings(ordinal, averageLength_, postings_);
    if (derivation_) appendPostings(ordinal, derivation_->averageLength, derivation_->postings);
    if (successor_) successor_->add(item, record);
}

void LexicalIndex::putAll(std::span<const CrumbItemPointer> items,
                          std::span<const MemoryAttributes> attributes, Deriving deriving) {
    ++version_;
    derivation_.reset();
    successor_.reset();
    items_.reserve(items_.size() + items.size());
    ordinals_.reserve(ordinals_.size() + items.size());
    const std::vector<std::size_t> order = newestFirst(items);
    const auto batchFrom = [&](std::size_t begin) {
        TokenBatch batch(meanings_);
        SearchRecord record;
        const std::size_t end = std::min(begin + batchSize, order.size());
        for (const std::size_t place : std::span(order).subspan(begin, end - begin)) {
            writeSearchRecord(*items[place], attributes.empty() ? noAttributes : attributes[place],
                              record);
            batch.add(record);
        }
        return batch;
    };
    // While this thread takes up one batch, others make the next ones.
    std::deque<std::future<TokenBatch>> next;
    std::size_t begun = 0;
    const std::size_t mostAhead = std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
    for (std::size_t done = 0; done < order.size(); done += batchSize) {
        for (; begun < order.size() && next.size() < mostAhead; begun += batchSize) {
            next.push_back(std::async(std::launch::async, batchFrom, begun));
        }
        const TokenBatch batch = next.front().get();
        next.pop_front();
        CrumbItemList batchItems;
        for (const std::size_t place : std::span(order).subspan(done, batch.size())) {
            batchItems.push_back(items[place]);
        }
        takeUp(batch, batchItems);
    }
    averageLength_ = currentAverageLength();
    mainOrdinalCount_ = items_.size();
    partly_.reset();
    postings_ = {};
    if (deriving == Deriving::asNeeded) {
        partly_.emplace();
    } else {
        derivePostings();
    }
}

void LexicalIndex::takeUp(const TokenBatch& batch, std::span<const CrumbItemPointer> items) {
    std::vector<TokenId> numbers(batch.tokens().size());
    for (TokenId token = 0; token < numbers.size(); ++token) {
        numbers[token] = vocabulary_.intern(batch.tokens().text(token));
    }
    documentFrequencies_.resize(vocabulary_.size());
    for (TokenId token = 0; token < numbers.size(); ++token) {
        documentFrequencies_[numbers[token]] += batch.documentFrequencies()[token];
    }
    totalLength_ += batch.totalLength();
    TokenStreamWriter writer;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (const auto old = ordinalOf(items[i]->id)) tombstone(*old);
        writer.clear();
        copyStream(batch.stream(i), writer, [&](Section, TokenId token) { return numbers[token]; });
        finishStream(writer, batch.tags(i));
        addItem(items[i]);
    }
}

void LexicalIndex::remove(const Uuid& id) {
    if (!ordinalOf(id)) return;
    ++version_;
    bury(id);
}

void LexicalIndex::bury(const Uuid& id) {
    if (const auto ordinal = ordinalOf(id)) tombstone(*ordinal);
    if (successor_) successor_->bury(id);
}

void LexicalIndex::clear() {
    const std::uint64_t version = version_;
    *this = LexicalIndex(weights_);
    version_ = version + 1;
}

std::optional<Ordinal> LexicalIndex::ordinalOf(const Uuid& id) const {
    const auto found = ordinals_.find(id);
    return found == ordinals_.end() ? std::nullopt : std::optional(found->second);
}

Ordinal LexicalIndex::append(const CrumbItemPointer& item, const SearchRecord& record) {
    const auto ordinal = static_cast<Ordinal>(items_.size());
    TokenStreamWriter writer;
    RecordStream(vocabulary_, writer).write(record);
    finishStream(writer, record.tags);
    addItem(item);
    addToDocumentFrequencies(ordinal);
    return ordinal;
}

/// Adds the tags and the end to the stream of the next ordinal.
void LexicalIndex::finishStream(TokenStreamWriter& writer, const std::set<std::string>& tags) {
    if (!tags.empty()) writer.begin(Section::tags);
    for (const std::string& name : tags) {
        const std::uint32_t number = tagNumber(name);
        writer.add(number);
        tags_[number].ordinals.push_back(static_cast<Ordinal>(items_.size()));
        ++tags_[number].aliveCount;
    }
    writer.begin(Section::end);
    streams_.append(writer.bytes());
}

void LexicalIndex::addItem(const CrumbItemPointer& item) {
    const std::size_t ordinal = items_.size();
    items_.push_back(item);
    dates_.push_back(item->createdAt);
    ordinals_[item->id] = static_cast<Ordinal>(ordinal);
    if (ordinal % ScoreAccumulator::blockSize == 0) {
        newestDates_.push_back(item->createdAt);
        alive_.push_back(0);
    }
    alive_.back() |= std::uint64_t{1} << ordinal % ScoreAccumulator::blockSize;
    newestDates_.back() = std::max(newestDates_.back(), item->createdAt);
}

void LexicalIndex::addToDocumentFrequencies(Ordinal ordinal) {
    documentFrequencies_.resize(vocabulary_.size());
    termFrequencies_.count(streams_.at(ordinal), vocabulary_.size());
    for (const auto& entry : termFrequencies_.entries()) ++documentFrequencies_[entry.token];
    totalLength_ += termFrequencies_.length();
}

void LexicalIndex::appendPostings(Ordinal ordinal, double averageLength, Postings& postings) const {
    // `append` has just counted this memory's terms.
    for (const auto& entry : termFrequencies_.entries()) {
        const std::uint8_t impact = impactOf(weights_, entry.mask, entry.weightedFrequency,
                                             termFrequencies_.length(), averageLength);
        postings.append(entry.token, ordinal, {entry.mask, impact});
    }
}

void LexicalIndex::tombstone(Ordinal ordinal) {
    termFrequencies_.count(streams_.at(ordinal), vocabulary_.size());
    for (const auto& entry : termFrequencies_.entries()) --documentFrequencies_[entry.token];
    for (const std::uint32_t number : termFrequencies_.tagNumbers()) --tags_[number].aliveCount;
    totalLength_ -= termFrequencies_.length();
    ordinals_.erase(items_[ordinal]->id);
    items_[ordinal] = nullptr;
    alive_[ordinal / ScoreAccumulator::blockSize] &=
        ~(std::uint64_t{1} << ordinal % ScoreAccumulator::blockSize);
}

void LexicalIndex::maintain() {
    if (successor_) return advanceSuccessor();
    if (derivation_) return advanceDerivation();
    const std::size_t count = items_.size();
    const std::size_t dead = count - ordinals_.size();
    const std::size_t inAuxiliary = count - mainOrdinalCount_;
    if (dead > fewestChanges && dead * 4 > count) {
        successor_ = std::make_unique<LexicalIndex>(weights_);
        successor_->items_.reserve(ordinals_.size());
        successor_->ordinals_.reserve(ordinals_.size());
        nextForSuccessor_ = 0;
        endForSuccessor_ = static_cast<Ordinal>(count);
    } else if (inAuxiliary > fewestChanges && inAuxiliary * 4 > count) {
        derivation_ = std::make_unique<Derivation>(*this, currentAverageLength());
    }
}

void LexicalIndex::advanceDerivation() {
    for (std::size_t i = 0; i < memoriesAtATime && !derivation_->isComplete(); ++i) {
        const auto ordinal = derivation_->next();
        if (!ordinal) continue;
        placePostings(*ordinal, termFrequencies_, derivation_->averageLength, *derivation_->filler);
    }
    if (!derivation_->isComplete()) return;
    postings_ = std::move(derivation_->postings);
    averageLength_ = derivation_->averageLength;
    mainOrdinalCount_ = derivation_->end();
    derivation_.reset();
}

/// Drops the dead memories, and the tokens and tags that only they held.
void LexicalIndex::advanceSuccessor() {
    if (nextForSuccessor_ < endForSuccessor_) {
        const auto end =
            std::min<std::size_t>(nextForSuccessor_ + memoriesAtATime, endForSuccessor_);
        for (; nextForSuccessor_ < end; ++nextForSuccessor_) {
            if (isAlive(nextForSuccessor_)) successor_->copyFrom(*this, nextForSuccessor_);
        }
        return;
    }
    if (!successor_->derivation_) {
        successor_->derivation_ =
            std::make_unique<Derivation>(*successor_, successor_->currentAverageLength());
    }
    successor_->advanceDerivation();
    if (successor_->derivation_) return;
    successor_->version_ = version_;
    *this = std::move(*std::exchange(successor_, nullptr));
}

void LexicalIndex::copyFrom(const LexicalIndex& other, Ordinal ordinal) {
    const auto ownOrdinal = static_cast<Ordinal>(items_.size());
    TokenStreamWriter writer;
    copyStream(other.streams_.at(ordinal), writer, [&](Section section, TokenId token) {
        if (section != Section::tags) return vocabulary_.intern(other.vocabulary().text(token));
        const std::uint32_t number = tagNumber(other.tags_[token].name);
        tags_[number].ordinals.push_back(ownOrdinal);
        ++tags_[number].aliveCount;
        return number;
    });
    writer.begin(Section::end);
    streams_.append(writer.bytes());
    addItem(other.items_[ordinal]);
    addToDocumentFrequencies(ownOrdinal);
}

double LexicalIndex::currentAverageLength() const {
    if (ordinals_.empty()) return assumedAverageLength;
    return static_cast<double>(totalLength_) / static_cast<double>(ordinals_.size());
}

void LexicalIndex::derivePostings() const {
    partly_.reset();
    postings_.reserve(documentFrequencies_);
    const auto end = static_cast<Ordinal>(items_.size());
    const Ordinal middle = end / 2;
    using Direction = Postings::Filler::Direction;
    auto back = std::async([&] {
        Postings::Filler filler(postings_, Direction::fromBack);
        TermFrequencies frequencies(meanings_);
        for (Ordinal ordinal = end; ordinal-- > middle;) {
            if (isAlive(ordinal)) placePostings(ordinal, frequencies, averageLength_, filler);
        }
    });
    Postings::Filler filler(postings_, Direction::fromFront);
    for (Ordinal ordinal = 0; ordinal < middle; ++ordinal) {
        if (isAlive(ordinal)) placePostings(ordinal, termFrequencies_, averageLength_, filler);
    }
    back.get();
}

const Postings& LexicalIndex::postingsOf(std::span<const TokenId> tokens) const {
    if (!partly_) return postings_;
    std::vector<bool> wanted(vocabulary_.size());
    bool someAreWanted = false;
    for (const TokenId token : tokens) {
        if (documentFrequencies_[token] == 0 || !partly_->derived.insert(token).second) continue;
        wanted[token] = true;
        someAreWanted = true;
    }
    if (!someAreWanted) return postings_;
    if (++partly_->passCount > mostPasses) {
        derivePostings();
        return postings_;
    }
    const auto end = static_cast<Ordinal>(items_.size());
    const Ordinal middle = end / 2;
    auto back = std::async([&] {
        TermFrequencies frequencies(meanings_);
        return findPostings(wanted, middle, end, frequencies);
    });
    for (const auto& [token, ordinal, mark] : findPostings(wanted, 0, middle, termFrequencies_)) {
        postings_.append(token, ordinal, mark);
    }
    for (const auto& [token, ordinal, mark] : back.get()) postings_.append(token, ordinal, mark);
    return postings_;
}

bool LexicalIndex::holdsAny(Ordinal ordinal, const std::vector<bool>& tokens) const {
    TokenStream stream = streams_.at(ordinal);
    while (stream.next() && stream.section() != Section::tags) {
        if (stream.atToken() && tokens[stream.token()]) return true;
    }
    return false;
}

std::vector<LexicalIndex::Posting> LexicalIndex::findPostings(const std::vector<bool>& wanted,
                                                              Ordinal begin, Ordinal end,
                                                              TermFrequencies& frequencies) const {
    std::vector<Posting> found;
    for (Ordinal ordinal = begin; ordinal < end; ++ordinal) {
        if (!isAlive(ordinal) || !holdsAny(ordinal, wanted)) continue;
        frequencies.count(streams_.at(ordinal), vocabulary_.size());
        for (const auto& entry : frequencies.entries()) {
            if (!wanted[entry.token]) continue;
            const std::uint8_t impact = impactOf(weights_, entry.mask, entry.weightedFrequency,
                                                 frequencies.length(), averageLength_);
            found.push_back({entry.token, ordinal, {entry.mask, impact}});
        }
    }
    return found;
}

void LexicalIndex::placePostings(Ordinal ordinal, TermFrequencies& frequencies,
                                 double averageLength, Postings::Filler& filler) const {
    frequencies.count(streams_.at(ordinal), vocabulary_.size());
    for (const auto& entry : frequencies.entries()) {
        const std::uint8_t impact = impactOf(weights_, entry.mask, entry.weightedFrequency,
                                             frequencies.length(), averageLength);
        filler.place(entry.token, ordinal, {entry.mask, impact});
    }
}

std::uint32_t LexicalIndex::tagNumber(const std::string& name) {
    const auto [found, isNew] = tagNumbers_.emplace(name, static_cast<std::uint32_t>(tags_.size()));
    if (isNew) tags_.push_back({name, {}, 0});
    return found->second;
}

const std::vector<Ordinal>* LexicalIndex::taggedWith(const std::string& tag) const {
    const auto found = tagNumbers_.find(tag);
    if (found == tagNumbers_.end() || tags_[found->second].aliveCount == 0) return nullptr;
    return &tags_[found->second].ordinals;
}

std::vector<std::string> LexicalIndex::tagsOf(Ordinal ordinal) const {
    std::vector<std::string> names;
    TokenStream stream = streams_.at(ordinal);
    while (stream.next()) {
        if (!stream.atToken() || stream.section() != Section::tags) continue;
        names.push_back(tags_[stream.token()].name);
    }
    return names;
}

std::span<const TermFrequencies::Entry> LexicalIndex::tokensOf(Ordinal ordinal) const {
    termFrequencies_.count(streams_.at(ordinal), vocabulary_.size());
    return termFrequencies_.entries();
}

std::size_t LexicalIndex::byteCount() const {
    constexpr std::size_t mapNode = sizeof(Uuid) + sizeof(Ordinal) + 3 * sizeof(void*);
    std::size_t bytes = vocabulary_.byteCount() + streams_.byteCount() + postings_.byteCount() +
                        termFrequencies_.byteCount();
    bytes += documentFrequencies_.capacity() * sizeof(std::uint32_t);
    bytes += items_.capacity() * sizeof(CrumbItemPointer) + dates_.capacity() * sizeof(Timestamp);
    bytes += ordinals_.size() * mapNode + ordinals_.bucket_count() * sizeof(void*);
    for (const Tag& tag : tags_) {
        bytes += sizeof(Tag) + tag.ordinals.capacity() * sizeof(Ordinal) + 2 * mapNode;
    }
    return bytes;
}

}  // namespace nookery
