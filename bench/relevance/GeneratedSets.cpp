#include "relevance/GeneratedSets.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <unordered_map>

#include "foundation/Error.h"
#include "foundation/Text.h"

namespace nookery::relevance {
namespace {

using Random = std::mt19937;

// The standard distributions differ between libraries; the remainder does not.
std::size_t below(Random& random, std::size_t count) { return random() % count; }

std::string outputOf(const char* command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command, "r"), &pclose);
    if (!pipe) throw Error(fmt::format("Cannot run \"{}\".", command));
    std::string output;
    std::array<char, 65536> buffer{};
    while (const auto count = fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        output.append(buffer.data(), count);
    }
    return output;
}

/// The distinct words of five or more ASCII letters: those a person would remember.
std::vector<std::string> memorableWords(const Record& record) {
    std::vector<std::string> words;
    std::string word;
    for (const char letter : lowerCased(record.title + " " + record.text) + " ") {
        if (letter >= 'a' && letter <= 'z') {
            word += letter;
            continue;
        }
        const bool isNew = std::find(words.begin(), words.end(), word) == words.end();
        if (word.size() >= 5 && isNew) words.push_back(word);
        word.clear();
    }
    return words;
}

/// One letter left out, put in, replaced, or swapped with the next; never the first, which people
/// get right.
std::string damaged(std::string word, Random& random) {
    const std::size_t place = 1 + below(random, word.size() - 2);
    const char letter = static_cast<char>('a' + below(random, 26));
    const std::string before = word;
    switch (below(random, 4)) {
        case 0:
            word.erase(place, 1);
            break;
        case 1:
            word.insert(place, 1, letter);
            break;
        case 2:
            word[place] = letter;
            break;
        default:
            std::swap(word[place], word[place + 1]);
            break;
    }
    return word == before ? damaged(std::move(word), random) : word;
}

/// Two to four of the words.
std::vector<std::string> someOf(std::vector<std::string> words, Random& random) {
    const std::size_t count = std::min(words.size(), 2 + below(random, 3));
    for (std::size_t i = 0; i < count; ++i) {
        std::swap(words[i], words[i + below(random, words.size() - i)]);
    }
    words.resize(count);
    return words;
}

/// Which records hold a memorable word.
class WordHolders {
  public:
    explicit WordHolders(const std::vector<Record>& records) {
        for (std::size_t i = 0; i < records.size(); ++i) {
            for (const auto& word : memorableWords(records[i])) holders_[word].push_back(i);
        }
    }
    std::size_t countHoldingAll(const std::vector<std::string>& words) const {
        std::vector<std::size_t> all = holders_.at(words.front());
        for (const std::string& word : words) {
            const auto& others = holders_.at(word);
            std::erase_if(all, [&](std::size_t record) {
                return !std::binary_search(others.begin(), others.end(), record);
            });
        }
        return all.size();
    }

  private:
    std::unordered_map<std::string, std::vector<std::size_t>> holders_;
};

}  // namespace

std::vector<Record> packageDescriptions() {
    std::vector<Record> records;
    const std::string list = outputOf("apt-cache dumpavail 2>/dev/null");
    Record record;
    for (const auto line : splitLines(list)) {
        if (line.starts_with("Package: ")) record.title = line.substr(9);
        if (line.starts_with("Description: ")) record.text = line.substr(13);
        if (!line.empty()) continue;
        if (!record.title.empty() && !record.text.empty()) records.push_back(record);
        record = Record();
    }
    if (records.empty()) throw Error("apt-cache knows no packages: run apt-get update.");
    return records;
}

Collection damagedWordSet(const std::vector<Record>& records, std::size_t questionCount,
                          unsigned seed) {
    Collection collection{.name = "damaged word", .records = records, .questions = {}};
    std::map<std::string, std::set<std::size_t>> byText;
    for (std::size_t i = 0; i < records.size(); ++i) byText[records[i].text].insert(i);
    const WordHolders holders(records);
    Random random(seed);
    while (collection.questions.size() < questionCount) {
        const Record& item = records[below(random, records.size())];
        auto words = memorableWords(item);
        if (words.size() < 2) continue;
        words = someOf(std::move(words), random);
        if (holders.countHoldingAll(words) > 10) continue;
        std::string& word = words[below(random, words.size())];
        word = damaged(word, random);
        collection.questions.push_back(
            {fmt::format("{}", fmt::join(words, " ")), byText.at(item.text)});
    }
    return collection;
}

Collection paraphraseSet(const std::string& path, const std::vector<Record>& others) {
    Collection collection{.name = "paraphrases", .records = {}, .questions = {}};
    for (const std::string& line : readLines(path)) {
        const auto object = nlohmann::json::parse(line);
        const std::size_t index = collection.records.size();
        collection.records.push_back(
            {.title = "", .note = "", .text = object.at("note"), .tags = {}});
        collection.questions.push_back({object.at("query"), {index}});
    }
    collection.records.insert(collection.records.end(), others.begin(), others.end());
    return collection;
}

}  // namespace nookery::relevance
