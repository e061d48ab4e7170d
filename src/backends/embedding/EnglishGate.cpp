#include "backends/embedding/EnglishGate.h"

#include <algorithm>
#include <array>

#include "foundation/Text.h"

namespace nookery::encoder {

namespace {

/// The share of pieces that may be unknown: emoji among words are fine, another script is not.
constexpr double maximumUnknownShare = 0.25;
/// English takes few pieces, other languages fall into crumbs; small words decide in between.
constexpr double fewPieces = 3.1;  ///< characters a piece
constexpr double manyPieces = 2.35;
constexpr double fewSmallWords = 0.04;  ///< share of the words
constexpr double someSmallWords = 0.12;
constexpr std::size_t minimumWordCount = 4;

constexpr std::array<std::string_view, 81> smallWords = {
    "a",    "about", "after",  "all",   "am",   "an",   "and",   "any",   "are",    "as",   "at",
    "be",   "been",  "before", "but",   "by",   "can",  "could", "did",   "do",     "for",  "from",
    "get",  "got",   "had",    "has",   "have", "he",   "her",   "him",   "his",    "how",  "i",
    "if",   "in",    "into",   "is",    "it",   "its",  "just",  "like",  "me",     "more", "my",
    "not",  "of",    "on",     "or",    "our",  "out",  "over",  "she",   "should", "so",   "some",
    "than", "that",  "the",    "their", "them", "then", "there", "they",  "this",   "to",   "up",
    "us",   "was",   "we",     "were",  "what", "when", "where", "which", "who",    "why",  "will",
    "with", "would", "you",    "your"};
static_assert(std::ranges::is_sorted(smallWords));

std::string_view withoutPunctuation(std::string_view word) {
    const auto isLetter = [](char byte) {
        const auto lower = static_cast<unsigned char>(byte | 0x20);
        return lower >= 0x80 || (lower >= 'a' && lower <= 'z');
    };
    const auto begin = std::ranges::find_if(word, isLetter);
    auto end = word.end();
    while (end != begin && !isLetter(*(end - 1)))
        --end;
    return {begin, end};
}

}  // namespace

bool mayBeEnglish(std::string_view preparedText, const TextChunks& chunks) {
    const auto pieceCount = static_cast<double>(chunks.pieceCount);
    if (static_cast<double>(chunks.unknownCount) > maximumUnknownShare * pieceCount) return false;

    std::size_t wordCount = 0;
    std::size_t smallWordCount = 0;
    std::size_t characterCount = 0;
    for (const std::string_view word : splitWhiteSpace(preparedText)) {
        characterCount += codePointCount(word);
        const std::string plain = lowerCased(withoutPunctuation(word));
        if (plain.empty()) continue;
        ++wordCount;
        smallWordCount += std::ranges::binary_search(smallWords, std::string_view(plain));
    }
    if (wordCount < minimumWordCount) return true;

    const double charactersPerPiece = static_cast<double>(characterCount) / pieceCount;
    const double smallShare = static_cast<double>(smallWordCount) / static_cast<double>(wordCount);
    const bool foreign = charactersPerPiece < fewPieces && smallShare < fewSmallWords;
    const bool crumbs = charactersPerPiece < manyPieces && smallShare < someSmallWords;
    return !foreign && !crumbs;
}

}  // namespace nookery::encoder
