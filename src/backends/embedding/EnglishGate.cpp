#include "backends/embedding/EnglishGate.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <algorithm>
#include <array>
#include <vector>

#include "foundation/Text.h"

namespace nookery::encoder {

namespace {

/// The share of pieces that may be unknown: emoji among words are fine, another script is not.
constexpr double maximumUnknownShare = 0.25;
constexpr std::size_t minimumWordCount = 4;

/// The share of letters that may be of another script than Latin. Without spaces between its words,
/// such a text has too few of them to be judged by words.
constexpr double maximumOtherScriptShare = 0.5;

/// A text with this share of English small words is not judged by its pieces.
constexpr double clearlyEnglishShare = 0.12;
constexpr double hardlyEnglishShare = 0.04;
/// The letters that pieces need on average: English has three and more, terse lists of rare words
/// two, other languages fewer. A text that looks foreign in another way needs more.
constexpr double minimumLettersPerPiece = 2.0;
constexpr double minimumLettersWithoutSmallWords = 2.15;
constexpr double minimumLettersWithForeignWords = 2.6;

/// Small words that are English in nearly every text that has them, so without "a", "in", "is",
/// "on", "so", "to", "was" and others that mean something elsewhere.
constexpr std::array<std::string_view, 54> englishWords = {
    "about",  "after", "and",  "any",  "are",   "be",    "been", "before", "but",   "can",  "could",
    "did",    "for",   "from", "get",  "got",   "has",   "have", "him",    "his",   "how",  "if",
    "into",   "it",    "its",  "just", "like",  "more",  "my",   "not",    "our",   "out",  "she",
    "should", "some",  "than", "that", "the",   "their", "them", "then",   "there", "they", "this",
    "up",     "were",  "what", "when", "where", "which", "with", "would",  "you",   "your"};

/// Small words of other languages in Latin letters that no English text has. They were chosen by
/// how many foreign sentences hold one.
constexpr std::array<std::string_view, 90> foreignWords = {
    "aan",   "aber", "af",   "al",   "alla", "anche", "ao",    "att",   "av",    "bij",
    "che",   "com",  "como", "cu",   "da",   "de",    "dei",   "del",   "dell",  "della",
    "der",   "des",  "deze", "di",   "du",   "een",   "eine",  "el",    "eller", "en",
    "er",    "es",   "este", "está", "et",   "geen",  "gli",   "har",   "het",   "hvis",
    "ikke",  "il",   "im",   "inte", "je",   "kan",   "kunne", "la",    "las",   "le",
    "les",   "los",  "med",  "met",  "mit",  "na",    "naar",  "nach",  "ne",    "nel",
    "nicht", "niet", "non",  "och",  "og",   "ou",    "para",  "pelo",  "por",   "pour",
    "på",    "que",  "se",   "sie",  "skal", "som",   "sono",  "te",    "til",   "till",
    "tu",    "un",   "una",  "und",  "vil",  "von",   "voor",  "wordt", "zijn",  "zum"};
static_assert(std::ranges::is_sorted(englishWords) && std::ranges::is_sorted(foreignWords));

struct WordCounts {
    std::size_t words = 0;
    std::size_t english = 0;
    std::size_t foreign = 0;
    std::size_t withForeignLetters = 0;
    std::size_t letters = 0;
    std::size_t otherScriptLetters = 0;

    void add(std::string_view word);
};

bool isLatin(char32_t letter) {
    return u_getIntPropertyValue(static_cast<UChar32>(letter), UCHAR_SCRIPT) == USCRIPT_LATIN;
}

/// Counts a word by its letters up to an apostrophe ("it's", "dell'acqua").
void WordCounts::add(std::string_view word) {
    std::string stem;
    bool isStemWhole = false;
    std::size_t letterCount = 0;
    bool hasForeignLetter = false;
    for (std::size_t at = 0; at < word.size();) {
        const char32_t codePoint = nextCodePoint(word, at);
        if (u_isalpha(static_cast<UChar32>(codePoint))) {
            ++letterCount;
            otherScriptLetters += isLatin(codePoint) ? 0 : 1;
            hasForeignLetter |= codePoint >= 0x80;
            if (!isStemWhole) appendUtf8(stem, codePoint);
        } else {
            isStemWhole = !stem.empty();
        }
    }
    if (letterCount == 0) return;
    stem = lowerCased(stem);
    ++words;
    letters += letterCount;
    withForeignLetters += hasForeignLetter;
    english += std::ranges::binary_search(englishWords, std::string_view(stem));
    foreign += std::ranges::binary_search(foreignWords, std::string_view(stem));
}

double ratio(std::size_t part, std::size_t whole) {
    return static_cast<double>(part) / static_cast<double>(whole);
}

bool fallsIntoCrumbs(const WordCounts& counts, std::size_t letterPieceCount) {
    const double englishShare = ratio(counts.english, counts.words);
    if (englishShare >= clearlyEnglishShare) return false;
    const double lettersPerPiece = ratio(counts.letters, letterPieceCount);
    if (englishShare >= hardlyEnglishShare) return lettersPerPiece < minimumLettersPerPiece;
    return lettersPerPiece < (counts.withForeignLetters > 0 ? minimumLettersWithForeignWords
                                                            : minimumLettersWithoutSmallWords);
}

}  // namespace

bool mayBeEnglish(std::string_view preparedText, const TextChunks& chunks) {
    if (chunks.pieceCount == 0) return true;
    if (ratio(chunks.unknownCount, chunks.pieceCount) > maximumUnknownShare) return false;

    WordCounts counts;
    for (const auto word : splitWhiteSpace(preparedText.substr(0, chunks.readByteCount))) {
        counts.add(word);
    }
    if (counts.letters > 0 &&
        ratio(counts.otherScriptLetters, counts.letters) > maximumOtherScriptShare) {
        return false;
    }
    if (counts.words < minimumWordCount) return true;
    if (counts.foreign > counts.english) return false;
    return !fallsIntoCrumbs(counts, chunks.letterPieceCount);
}

}  // namespace nookery::encoder
