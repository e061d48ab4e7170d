#include "retrieval/index/LexicalIndex.h"

#include <algorithm>
#include <future>
#include <numeric>
#include <optional>
#include <utility>

#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

/// With fewer changes than this the postings are not derived anew.
constexpr std::size_t fewestChanges = 4096;

/// How many memories are read for what is due for all of them when one comes in. Large enough that
/// it ends long before it is due again.
constexpr std::size_t memoriesAtATime = 8;

/// How many memories `putAll` reads at a time.
constexpr std::size_t batchSize = 1024;

/// The average length while the index is empty.
constexpr double assumedAverageLength = 30;

/// The lines of SearchRecord::combined between the contents and the tags.
constexpr std::size_t detailLineCount = 4;

/// Writes a search record as a token stream.
class RecordWriter {
  public:
    RecordWriter(Vocabulary& vocabulary, TokenStreamWriter& writer)
        : vocabulary_(vocabulary), writer_(writer) {}

    void write(const SearchRecord& record) {
        addSection(Section::title, record.title);
        addSection(Section::note, record.note);
        addSection(Section::contents, record.searchable);
        rest_ = record.combined;
        addOtherForm(Section::titleAllScripts, record.title);
        addOtherForm(Section::noteAllScripts, record.note);
        addOtherForm(Section::contentsAllScripts, record.searchable);
        addLines(Section::details, detailLineCount + record.tags.size());
        addLines(Section::people, record.people.size());
    }

  private:
    std::string_view nextLine() {
        const std::size_t end = std::min(rest_.find('\n'), rest_.size());
        const std::string_view line = rest_.substr(0, end);
        rest_.remove_prefix(std::min(end + 1, rest_.size()));
        return line;
    }

    void addTokens(std::string_view form) {
        forEachToken(form, [&](std::string_view token) { writer_.add(vocabulary_.intern(token)); });
    }

    void addSection(Section section, std::string_view form) {
        if (form.empty()) return;
        writer_.begin(section);
        addTokens(form);
    }

    void addOtherForm(Section section, std::string_view normal) {
        const std::string_view line = nextLine();
        if (line != normal) addSection(section, line);
    }

    void addLines(Section section, std::size_t count) {
        bool begun = false;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string_view line = nextLine();
            if (line.empty()) continue;
            writer_.begin(begun ? Section::lineBreak : section);
            begun = true;
            addTokens(line);
        }
    }

    Vocabulary& vocabulary_;
    TokenStreamWriter& writer_;
    std::string_view rest_;
};

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
                          std::span<const MemoryAttributes> attributes) {
    ++version_;
    derivation_.reset();
    successor_.reset();
    items_.reserve(items_.size() + items.size());
    ordinals_.reserve(ordinals_.size() + items.size());
    // Newest first: among equal scores the newest are shown, and they are then found in the first
    // blocks.
    std::vector<std::size_t> order(items.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return items[a]->createdAt > items[b]->createdAt;
    });
    // While this thread indexes one batch, another reads the texts of the next.
    const auto recordsFrom = [&](std::size_t begin) {
        std::vector<SearchRecord> records(std::min(batchSize, order.size() - begin));
        for (std::size_t i = 0; i < records.size(); ++i) {
            const std::size_t place = order[begin + i];
            writeSearchRecord(*items[place], attributes.empty() ? noAttributes : attributes[place],
                              records[i]);
        }
        return records;
    };
    std::future<std::vector<SearchRecord>> next = std::async(recordsFrom, 0);
    for (std::size_t begin = 0; begin < order.size(); begin += batchSize) {
        const std::vector<SearchRecord> records = next.get();
        if (begin + batchSize < order.size()) next = std::async(recordsFrom, begin + batchSize);
        for (std::size_t i = 0; i < records.size(); ++i) {
            const CrumbItemPointer& item = items[order[begin + i]];
            if (const auto old = ordinalOf(item->id)) tombstone(*old);
            append(item, records[i]);
        }
    }
    derivePostings();
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
    RecordWriter(vocabulary_, writer).write(record);
    if (!record.tags.empty()) writer.begin(Section::tags);
    for (const std::string& name : record.tags) {
        const std::uint32_t number = tagNumber(name);
        writer.add(number);
        tags_[number].ordinals.push_back(ordinal);
        ++tags_[number].aliveCount;
    }
    writer.begin(Section::end);
    streams_.append(writer.bytes());
    addItem(item);
    addToDocumentFrequencies(ordinal);
    return ordinal;
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
    TokenStream stream = other.streams_.at(ordinal);
    for (Section section = Section::lineBreak; stream.next(); section = stream.section()) {
        if (!stream.atToken()) {
            writer.begin(stream.section() == section ? Section::lineBreak : stream.section());
        } else if (stream.section() == Section::tags) {
            const std::uint32_t number = tagNumber(other.tags_[stream.token()].name);
            writer.add(number);
            tags_[number].ordinals.push_back(ownOrdinal);
            ++tags_[number].aliveCount;
        } else {
            writer.add(vocabulary_.intern(other.tokenText(stream.token())));
        }
    }
    writer.begin(Section::end);
    streams_.append(writer.bytes());
    addItem(other.items_[ordinal]);
    addToDocumentFrequencies(ownOrdinal);
}

double LexicalIndex::currentAverageLength() const {
    if (ordinals_.empty()) return assumedAverageLength;
    return static_cast<double>(totalLength_) / static_cast<double>(ordinals_.size());
}

void LexicalIndex::derivePostings() {
    averageLength_ = currentAverageLength();
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
    mainOrdinalCount_ = end;
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
