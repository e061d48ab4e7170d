#include "retrieval/index/TermFrequencies.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace nookery {
namespace {

constexpr std::size_t sectionCount = static_cast<std::size_t>(Section::tags) + 1;

constexpr std::size_t indexOf(Section section) { return static_cast<std::size_t>(section); }

bool repeatsAField(Section section) {
    return section >= Section::titleAllScripts && section <= Section::contentsAllScripts;
}

/// The slot in which a section's length is counted: that of its field.
std::size_t lengthSlot(Section section) {
    return repeatsAField(section)
               ? indexOf(section) - indexOf(Section::titleAllScripts) + indexOf(Section::title)
               : indexOf(section);
}

}  // namespace

SearchField bestField(FieldMask mask) {
    return static_cast<SearchField>(std::countr_zero(static_cast<unsigned>(mask)));
}

std::uint8_t impactOf(const RankingWeights& weights, FieldMask mask, double weightedFrequency,
                      std::size_t length, double averageLength) {
    const auto field = static_cast<std::size_t>(bestField(mask));
    const double relativeLength = static_cast<double>(length) / std::max(averageLength, 1.0);
    const double discount = 1 - weights.lengthInfluence + weights.lengthInfluence * relativeLength;
    const double saturated =
        weightedFrequency / (weightedFrequency + weights.saturation * discount);
    const double impact = weights.bandFloor[field] + weights.bandWidth[field] * saturated;
    return static_cast<std::uint8_t>(std::clamp(std::lround(impact * 255), 1L, 255L));
}

SectionMeanings sectionMeanings(const RankingWeights& weights) {
    const FieldMask elsewhere = fieldBit(SearchField::elsewhere);
    const auto people = static_cast<FieldMask>(elsewhere | peopleBit);
    SectionMeanings meanings{};
    const auto set = [&](Section section, FieldMask mask, SearchField counted) {
        meanings[indexOf(section)] = {mask,
                                      weights.fieldFrequency[static_cast<std::size_t>(counted)]};
    };
    set(Section::title, fieldBit(SearchField::title), SearchField::title);
    set(Section::note, fieldBit(SearchField::note), SearchField::note);
    set(Section::contents, fieldBit(SearchField::contents), SearchField::contents);
    set(Section::titleAllScripts, elsewhere, SearchField::title);
    set(Section::noteAllScripts, elsewhere, SearchField::note);
    set(Section::contentsAllScripts, elsewhere, SearchField::contents);
    set(Section::details, elsewhere, SearchField::elsewhere);
    set(Section::people, people, SearchField::elsewhere);
    return meanings;
}

TermFrequencies::Entry& TermFrequencies::entryOf(TokenId token) {
    const std::uint32_t place = places_[token];
    if (place < entries_.size() && entries_[place].token == token) return entries_[place];
    places_[token] = static_cast<std::uint32_t>(entries_.size());
    return entries_.emplace_back(Entry{token, 0, 0});
}

void TermFrequencies::count(TokenStream stream, std::size_t vocabularySize) {
    entries_.clear();
    tagNumbers_.clear();
    if (places_.size() < vocabularySize) places_.resize(vocabularySize + vocabularySize / 2);
    const FieldMask texts = fieldBit(SearchField::title) | fieldBit(SearchField::note) |
                            fieldBit(SearchField::contents);
    std::array<std::size_t, sectionCount> lengths{};
    while (stream.next()) {
        if (!stream.atToken()) {
            if (repeatsAField(stream.section())) lengths[lengthSlot(stream.section())] = 0;
            continue;
        }
        if (stream.section() == Section::tags) {
            tagNumbers_.push_back(stream.token());
            continue;
        }
        ++lengths[lengthSlot(stream.section())];
        const SectionMeaning& meaning = meanings_[indexOf(stream.section())];
        Entry& entry = entryOf(stream.token());
        // The normal form of the field has counted this token already.
        if (repeatsAField(stream.section()) && (entry.mask & texts) != 0) continue;
        entry.mask |= meaning.mask;
        entry.weightedFrequency += static_cast<float>(meaning.frequency);
    }
    length_ = lengths[indexOf(Section::title)] + lengths[indexOf(Section::note)] +
              lengths[indexOf(Section::contents)];
}

std::size_t TermFrequencies::byteCount() const {
    return places_.capacity() * sizeof(std::uint32_t) + entries_.capacity() * sizeof(Entry);
}

}  // namespace nookery
