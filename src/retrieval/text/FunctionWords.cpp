#include "retrieval/text/FunctionWords.h"

#include <algorithm>
#include <array>

namespace nookery {
namespace {

constexpr auto functionWords = std::to_array<std::string_view>(
    {"a",       "about", "am",    "an",    "and",   "any",     "are",   "as",    "at",     "be",
     "because", "been",  "but",   "by",    "can",   "cannot",  "could", "did",   "do",     "does",
     "doing",   "for",   "from",  "get",   "gets",  "getting", "got",   "had",   "has",    "have",
     "having",  "he",    "her",   "hers",  "him",   "his",     "how",   "i",     "if",     "in",
     "into",    "is",    "it",    "its",   "just",  "me",      "my",    "no",    "nor",    "not",
     "of",      "off",   "on",    "once",  "or",    "our",     "ours",  "out",   "over",   "she",
     "should",  "so",    "some",  "such",  "than",  "that",    "the",   "their", "theirs", "them",
     "then",    "there", "these", "they",  "this",  "those",   "to",    "too",   "very",   "was",
     "we",      "were",  "what",  "when",  "where", "which",   "while", "who",   "whom",   "whose",
     "why",     "will",  "with",  "would", "you",   "your",    "yours"});
static_assert(std::is_sorted(functionWords.begin(), functionWords.end()));

}  // namespace

bool isFunctionWord(std::string_view word) {
    return std::binary_search(functionWords.begin(), functionWords.end(), word);
}

}  // namespace nookery
