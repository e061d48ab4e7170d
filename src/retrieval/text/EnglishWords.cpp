#include "retrieval/text/EnglishWords.h"

#include <algorithm>
#include <array>

namespace nookery {
namespace {

/// Strips one word to its stem. The steps have the names of M. F. Porter, "An algorithm for suffix
/// stripping", Program 14(3), 1980.
class Stemming {
  public:
    explicit Stemming(std::string_view word) : word_(word) {}

    std::string result() {
        step1a();
        step1b();
        if (word_.ends_with('y') && hasVowel(word_.size() - 1)) word_.back() = 'i';
        applyFirst(step2);
        applyFirst(step3);
        step4();
        step5();
        return std::move(word_);
    }

  private:
    struct Rule {
        std::string_view suffix;
        std::string_view replacement;
    };

    static constexpr std::array<Rule, 21> step2{{
        {"ational", "ate"}, {"tional", "tion"}, {"enci", "ence"},   {"anci", "ance"},
        {"izer", "ize"},    {"bli", "ble"},     {"alli", "al"},     {"entli", "ent"},
        {"eli", "e"},       {"ousli", "ous"},   {"ization", "ize"}, {"ation", "ate"},
        {"ator", "ate"},    {"alism", "al"},    {"iveness", "ive"}, {"fulness", "ful"},
        {"ousness", "ous"}, {"aliti", "al"},    {"iviti", "ive"},   {"biliti", "ble"},
        {"logi", "log"},
    }};
    static constexpr std::array<Rule, 7> step3{{
        {"icate", "ic"},
        {"ative", ""},
        {"alize", "al"},
        {"iciti", "ic"},
        {"ical", "ic"},
        {"ful", ""},
        {"ness", ""},
    }};
    static constexpr std::array<std::string_view, 18> step4Suffixes{
        "ement", "ance", "ence", "able", "ible", "ment", "ant", "ent", "ism",
        "ate",   "iti",  "ous",  "ive",  "ize",  "al",   "er",  "ic",  "ou",
    };

    bool isConsonant(std::size_t i) const {
        switch (word_[i]) {
            case 'a':
            case 'e':
            case 'i':
            case 'o':
            case 'u':
                return false;
            case 'y':
                return i == 0 || !isConsonant(i - 1);
            default:
                return true;
        }
    }

    bool hasVowel(std::size_t length) const {
        for (std::size_t i = 0; i < length; ++i) {
            if (!isConsonant(i)) return true;
        }
        return false;
    }

    /// How many times a vowel run is followed by a consonant run: the paper's m.
    int measure(std::size_t length) const {
        int count = 0;
        for (std::size_t i = 1; i < length; ++i) count += isConsonant(i) && !isConsonant(i - 1);
        return count;
    }

    bool endsInDoubleConsonant() const {
        const std::size_t size = word_.size();
        return size >= 2 && word_[size - 1] == word_[size - 2] && isConsonant(size - 1);
    }

    /// The paper's *o: consonant, vowel, consonant other than w, x, y.
    bool endsInShortSyllable(std::size_t length) const {
        if (length < 3 || !isConsonant(length - 1) || isConsonant(length - 2) ||
            !isConsonant(length - 3)) {
            return false;
        }
        const char last = word_[length - 1];
        return last != 'w' && last != 'x' && last != 'y';
    }

    void cut(std::size_t count) { word_.resize(word_.size() - count); }

    void step1a() {
        if (word_.ends_with("sses") || word_.ends_with("ies")) {
            cut(2);
        } else if (word_.ends_with('s') && !word_.ends_with("ss")) {
            cut(1);
        }
    }

    void step1b() {
        if (word_.ends_with("eed")) {
            if (measure(word_.size() - 3) > 0) cut(1);
            return;
        }
        const std::size_t ending = word_.ends_with("ed") ? 2 : word_.ends_with("ing") ? 3 : 0;
        if (ending == 0 || !hasVowel(word_.size() - ending)) return;
        cut(ending);
        if (word_.ends_with("at") || word_.ends_with("bl") || word_.ends_with("iz")) {
            word_ += 'e';
        } else if (endsInDoubleConsonant()) {
            if (std::string_view("lsz").find(word_.back()) == std::string_view::npos) cut(1);
        } else if (measure(word_.size()) == 1 && endsInShortSyllable(word_.size())) {
            word_ += 'e';
        }
    }

    /// The first rule whose suffix fits is the only one tried.
    template <std::size_t size>
    void applyFirst(const std::array<Rule, size>& rules) {
        const auto rule = std::find_if(rules.begin(), rules.end(), [&](const Rule& candidate) {
            return word_.ends_with(candidate.suffix);
        });
        if (rule == rules.end() || measure(word_.size() - rule->suffix.size()) == 0) return;
        cut(rule->suffix.size());
        word_ += rule->replacement;
    }

    void step4() {
        if (word_.ends_with("sion") || word_.ends_with("tion")) {
            if (measure(word_.size() - 3) > 1) cut(3);
            return;
        }
        const auto suffix =
            std::find_if(step4Suffixes.begin(), step4Suffixes.end(),
                         [&](std::string_view candidate) { return word_.ends_with(candidate); });
        if (suffix == step4Suffixes.end()) return;
        if (measure(word_.size() - suffix->size()) > 1) cut(suffix->size());
    }

    void step5() {
        if (word_.ends_with('e')) {
            const std::size_t length = word_.size() - 1;
            const int count = measure(length);
            if (count > 1 || (count == 1 && !endsInShortSyllable(length))) cut(1);
        }
        if (word_.ends_with("ll") && measure(word_.size()) > 1) cut(1);
    }

    std::string word_;
};

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

std::string englishStem(std::string_view word) {
    const bool plain = std::all_of(word.begin(), word.end(),
                                   [](char letter) { return letter >= 'a' && letter <= 'z'; });
    if (word.size() < 3 || !plain) return std::string(word);
    return Stemming(word).result();
}

bool isFunctionWord(std::string_view word) {
    return std::binary_search(functionWords.begin(), functionWords.end(), word);
}

}  // namespace nookery
