#include "keystroke/Collections.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <unordered_map>

#include "foundation/Text.h"

namespace nookery::bench {
namespace {

using Random = std::mt19937_64;

std::size_t upTo(Random& random, std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
}

Uuid randomId(Random& random) {
    Uuid::Bytes bytes{};
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    return Uuid(bytes);
}

/// Words drawn as often as a text uses them.
class WordSource {
  public:
    explicit WordSource(const PackageList& packages) {
        std::unordered_map<std::string, double> counts;
        for (const std::string& description : packages.descriptions) {
            for (const std::string_view word : splitWhiteSpace(description)) {
                ++counts[std::string(word)];
            }
        }
        std::vector<std::pair<std::string, double>> sorted(counts.begin(), counts.end());
        std::sort(sorted.begin(), sorted.end());
        std::vector<double> weights;
        for (auto& [word, count] : sorted) {
            words_.push_back(word);
            weights.push_back(count);
        }
        draw_ = std::discrete_distribution<std::size_t>(weights.begin(), weights.end());
    }

    std::string next(Random& random) {
        return upTo(random, 39) == 0 ? madeUp(random) : words_[draw_(random)];
    }

  private:
    static std::string madeUp(Random& random) {
        static constexpr std::string_view syllables[] = {"ka", "lor", "mi", "ten", "sa",  "vel",
                                                         "du", "ran", "po", "shi", "ber", "no"};
        if (upTo(random, 3) == 0) return std::to_string(upTo(random, 99999));
        std::string word;
        for (std::size_t i = 0; i < 2 + upTo(random, 2); ++i) word += syllables[upTo(random, 11)];
        return capitalised(word);
    }

    std::vector<std::string> words_;
    std::discrete_distribution<std::size_t> draw_;
};

std::string sentence(WordSource& words, Random& random, std::size_t wordCount) {
    std::string text;
    for (std::size_t i = 0; i < wordCount; ++i) {
        if (i > 0) text += ' ';
        text += words.next(random);
    }
    return text;
}

std::string damaged(std::string word, Random& random) {
    if (word.size() < 4) return word;
    const std::size_t place = 1 + upTo(random, word.size() - 3);
    if (upTo(random, 1) == 0) {
        std::swap(word[place], word[place + 1]);
    } else {
        word.erase(place, 1);
    }
    return word;
}

std::string typedQuery(const CrumbItem& memory, Random& random) {
    const std::string text = memory.title + " " + memory.searchableText;
    const auto words = splitWhiteSpace(text);
    std::string query;
    const std::size_t count = 1 + upTo(random, 3);
    for (std::size_t i = 0; i < count; ++i) {
        std::string word = lowerCased(words[upTo(random, words.size() - 1)]);
        if (word.starts_with('#')) continue;
        if (upTo(random, 9) == 0) word = damaged(word, random);
        if (upTo(random, 4) == 0) word = firstCharacters(word, 3 + upTo(random, 4));
        if (!query.empty()) query += ' ';
        query += word;
    }
    return query;
}

}  // namespace

PackageList readPackages(std::istream& input) {
    PackageList packages;
    for (std::string line; std::getline(input, line);) {
        line = toValidUtf8(line);
        if (line.starts_with("Package: ")) packages.names.push_back(line.substr(9));
        if (line.starts_with("Description: ")) {
            packages.descriptions.resize(packages.names.size());
            packages.descriptions.back() = line.substr(13);
        }
    }
    packages.descriptions.resize(packages.names.size());
    return packages;
}

CrumbItemList packageMemories(const PackageList& packages) {
    Random random(1);
    CrumbItemList memories;
    for (std::size_t i = 0; i < packages.names.size(); ++i) {
        CrumbItem item;
        item.id = randomId(random);
        item.title = packages.names[i];
        item.searchableText = packages.descriptions[i];
        item.createdAt = Timestamp{1.6e9 + static_cast<double>(upTo(random, 100'000'000))};
        memories.push_back(std::make_shared<const CrumbItem>(std::move(item)));
    }
    return memories;
}

CrumbItemList shortMemories(const PackageList& packages, std::size_t count, std::uint64_t seed) {
    Random random(seed);
    WordSource words(packages);
    CrumbItemList memories;
    memories.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        CrumbItem item;
        item.id = randomId(random);
        item.title = sentence(words, random, 2 + upTo(random, 4));
        item.searchableText = sentence(words, random, 6 + upTo(random, 12));
        if (upTo(random, 4) == 0) item.note = sentence(words, random, 3 + upTo(random, 5));
        item.createdAt = Timestamp{1.6e9 + static_cast<double>(upTo(random, 100'000'000))};
        memories.push_back(std::make_shared<const CrumbItem>(std::move(item)));
    }
    return memories;
}

std::vector<std::string> typedQueries(const CrumbItemList& memories, std::size_t count,
                                      std::uint64_t seed) {
    Random random(seed);
    std::vector<std::string> queries;
    while (queries.size() < count) {
        std::string query = typedQuery(*memories[upTo(random, memories.size() - 1)], random);
        if (!query.empty()) queries.push_back(std::move(query));
    }
    return queries;
}

std::vector<std::string> keystrokesOf(const std::vector<std::string>& queries) {
    std::vector<std::string> keystrokes;
    for (const std::string& query : queries) {
        for (std::size_t end = 1; end <= query.size(); ++end) {
            if (cutToBytes(query, end).size() == end && query[end - 1] != ' ') {
                keystrokes.push_back(query.substr(0, end));
            }
        }
    }
    return keystrokes;
}

}  // namespace nookery::bench
