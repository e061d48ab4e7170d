#include "retrieval/index/Vocabulary.h"

#include <algorithm>
#include <utility>

#include "foundation/Text.h"
#include "retrieval/text/EnglishWords.h"
#include "retrieval/text/FoldTable.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

/// Marks the start and the end of a token in its grams.
constexpr char32_t edge = 0;

// The characters of the normal form, and the edge.
constexpr std::size_t alphabetSize = 38;
constexpr std::size_t notInAlphabet = alphabetSize;

constexpr std::size_t alphabetPlace(char32_t letter) {
    if (letter == edge) return 0;
    if (letter >= U'a' && letter <= U'z') return 1 + (letter - U'a');
    if (letter >= U'0' && letter <= U'9') return 27 + (letter - U'0');
    return letter == U'#' ? 37 : notInAlphabet;
}

using Gram = std::array<char32_t, 3>;

std::optional<std::size_t> asciiGramPlace(const Gram& gram) {
    std::size_t place = 0;
    for (const char32_t letter : gram) {
        const std::size_t letterPlace = alphabetPlace(letter);
        if (letterPlace == notInAlphabet) return std::nullopt;
        place = place * alphabetSize + letterPlace;
    }
    return place;
}

std::uint64_t gramKey(const Gram& gram) {
    return static_cast<std::uint64_t>(gram[0]) << 42 | static_cast<std::uint64_t>(gram[1]) << 21 |
           gram[2];
}

std::u32string lettersOf(std::string_view text) {
    std::u32string letters;
    letters.reserve(text.size() + 2);
    for (std::size_t position = 0; position < text.size();) {
        letters += nextCodePoint(text, position);
    }
    return letters;
}

template <typename Letter>
bool differByOneEdit(std::basic_string_view<Letter> shorter,
                     std::basic_string_view<Letter> longer) {
    if (shorter.size() > longer.size()) std::swap(shorter, longer);
    if (longer.size() - shorter.size() > 1) return false;
    const auto start = static_cast<std::size_t>(
        std::mismatch(shorter.begin(), shorter.end(), longer.begin()).first - shorter.begin());
    shorter.remove_prefix(start);
    longer.remove_prefix(start);
    if (longer.empty()) return false;
    if (shorter.size() < longer.size()) return shorter == longer.substr(1);
    if (shorter.substr(1) == longer.substr(1)) return true;
    return shorter.size() >= 2 && shorter[0] == longer[1] && shorter[1] == longer[0] &&
           shorter.substr(2) == longer.substr(2);
}

template <typename Letter>
bool beginsOneEditAway(std::basic_string_view<Letter> word, std::basic_string_view<Letter> longer) {
    for (std::size_t size = word.size() - 1; size <= word.size() + 1; ++size) {
        if (size >= longer.size()) return false;
        if (differByOneEdit(word, longer.substr(0, size))) return true;
    }
    return false;
}

}  // namespace

Vocabulary::Vocabulary() : asciiGrams_(alphabetSize * alphabetSize * alphabetSize) {}

std::uint32_t Vocabulary::stemKeyOf(std::string_view word) {
    const bool stems = word.size() >= 3 && std::all_of(word.begin(), word.end(), [](char letter) {
                           return letter >= 'a' && letter <= 'z';
                       });
    return stems ? std::max(1U, tokenHash(englishStem(word))) : 0;
}

TokenId Vocabulary::intern(std::string_view token) {
    const TokenId id = tokens_.intern(token);
    if (id == stemKeys_.size()) {
        stemKeys_.push_back(stemKeyOf(token));
        addGrams(id);
    }
    return id;
}

void Vocabulary::addGrams(TokenId token) {
    const std::u32string letters = lettersOf(text(token));
    // A token of ideographs is found as a whole only.
    if (letters.empty() || isIdeographic(letters.front())) return;
    addGram({edge, edge, letters.front()}, token);
    addGram({letters.back(), edge, edge}, token);
    if (letters.size() < 2) return;
    addGram({edge, letters[0], letters[1]}, token);
    addGram({letters[letters.size() - 2], letters.back(), edge}, token);
    for (std::size_t i = 0; i + 2 < letters.size(); ++i) {
        addGram({letters[i], letters[i + 1], letters[i + 2]}, token);
    }
}

void Vocabulary::addGram(const Gram& gram, TokenId token) {
    const auto place = asciiGramPlace(gram);
    TokenList& list = place ? asciiGrams_[*place] : otherGrams_[gramKey(gram)];
    if (list.empty() || list.back() != token) list.push_back(token);
}

const Vocabulary::TokenList& Vocabulary::tokensWith(const Gram& gram) const {
    static const TokenList none;
    if (const auto place = asciiGramPlace(gram)) return asciiGrams_[*place];
    const auto found = otherGrams_.find(gramKey(gram));
    return found == otherGrams_.end() ? none : found->second;
}

/// The shortest of the lists of a text's grams. The text may begin or end with `edge`.
const Vocabulary::TokenList& Vocabulary::shortestList(const std::u32string& bounded) const {
    const TokenList* shortest = nullptr;
    for (std::size_t i = 0; i + 2 < bounded.size(); ++i) {
        const TokenList& list = tokensWith({bounded[i], bounded[i + 1], bounded[i + 2]});
        if (shortest == nullptr || list.size() < shortest->size()) shortest = &list;
    }
    return *shortest;
}

std::vector<TokenId> Vocabulary::containing(std::string_view part) const {
    const std::u32string letters = lettersOf(part);
    const TokenList& candidates = shortestList(letters);
    if (letters.size() == 3) return candidates;
    std::vector<TokenId> tokens;
    for (const TokenId token : candidates) {
        if (text(token).find(part) != std::string_view::npos) tokens.push_back(token);
    }
    return tokens;
}

std::vector<TokenId> Vocabulary::startingWith(std::string_view part) const {
    std::u32string letters = lettersOf(part);
    letters.insert(0, letters.size() == 1 ? 2 : 1, edge);
    if (letters.size() == 3) return shortestList(letters);
    std::vector<TokenId> tokens;
    for (const TokenId token : shortestList(letters)) {
        if (text(token).starts_with(part)) tokens.push_back(token);
    }
    return tokens;
}

std::vector<TokenId> Vocabulary::endingWith(std::string_view part) const {
    std::u32string letters = lettersOf(part);
    letters.append(letters.size() == 1 ? 2 : 1, edge);
    if (letters.size() == 3) return shortestList(letters);
    std::vector<TokenId> tokens;
    for (const TokenId token : shortestList(letters)) {
        if (text(token).ends_with(part)) tokens.push_back(token);
    }
    return tokens;
}

std::vector<TokenId> Vocabulary::sharingStem(std::string_view word) const {
    const std::uint32_t key = stemKeyOf(word);
    if (key == 0) return {};
    // Stemming changes the last letters only, so that all forms share the first ones.
    const std::u32string start{edge, static_cast<char32_t>(word[0]),
                               static_cast<char32_t>(word[1])};
    const std::string stem = englishStem(word);
    std::u32string shared = start;
    if (stem.size() > 3) shared += static_cast<char32_t>(word[2]);
    std::vector<TokenId> tokens;
    for (const TokenId token : shortestList(shared)) {
        if (stemKeys_[token] == key && text(token) != word) tokens.push_back(token);
    }
    return tokens;
}

std::vector<TokenId> Vocabulary::oneEditAway(std::string_view word) const {
    const std::u32string letters = lettersOf(word);
    if (letters.size() < 4) return {};
    // One edit keeps the first two letters or the last two. The one exception is a swap in the
    // middle of four letters.
    const TokenList& sameStart = tokensWith({edge, letters[0], letters[1]});
    const TokenList& sameEnd = tokensWith({letters[letters.size() - 2], letters.back(), edge});
    std::vector<TokenId> candidates;
    std::set_union(sameStart.begin(), sameStart.end(), sameEnd.begin(), sameEnd.end(),
                   std::back_inserter(candidates));
    if (letters.size() == 4) {
        const TokenList& swapped = tokensWith({edge, letters[0], letters[2]});
        std::vector<TokenId> more;
        std::set_union(candidates.begin(), candidates.end(), swapped.begin(), swapped.end(),
                       std::back_inserter(more));
        candidates = std::move(more);
    }
    std::erase_if(candidates, [&](TokenId token) { return !isOneEditAway(word, text(token)); });
    return candidates;
}

std::vector<TokenId> Vocabulary::prefixOneEditAway(std::string_view word) const {
    const std::u32string letters = lettersOf(word);
    if (letters.size() < 4) return {};
    const bool isAsciiWord = isAsciiText(word);
    std::vector<TokenId> tokens;
    for (const TokenId token : tokensWith({edge, letters[0], letters[1]})) {
        const bool begins = isAsciiWord && isAsciiText(text(token))
                                ? beginsOneEditAway(word, text(token))
                                : beginsOneEditAway<char32_t>(letters, lettersOf(text(token)));
        if (begins) tokens.push_back(token);
    }
    return tokens;
}

std::size_t Vocabulary::byteCount() const {
    std::size_t bytes = tokens_.byteCount() + sizeof(std::uint32_t) * stemKeys_.capacity();
    bytes += asciiGrams_.capacity() * sizeof(TokenList);
    for (const TokenList& list : asciiGrams_) bytes += list.capacity() * sizeof(TokenId);
    for (const auto& [key, list] : otherGrams_) {
        bytes += list.capacity() * sizeof(TokenId) + sizeof(TokenList) + 40;
    }
    return bytes;
}

bool isOneEditAway(std::string_view first, std::string_view second) {
    if (isAsciiText(first) && isAsciiText(second)) return differByOneEdit(first, second);
    return differByOneEdit<char32_t>(lettersOf(first), lettersOf(second));
}

}  // namespace nookery
