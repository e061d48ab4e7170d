#include "retrieval/index/LexicalIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>

#include "foundation/Text.h"
#include "retrieval/lexical/LexicalSearch.h"
#include "retrieval/text/TextNormalizer.h"

namespace nookery {
namespace {

/// Words made so that parts of them meet: of few letters, of several scripts, of several tokens.
const std::vector<std::string> words{
    "boat", "boats",         "boating", "oat",    "a",       "ab",    "aba",  "abab",
    "bab",  "e-mail",        "mail",    "a.b",    "b-a",     "#one",  "#two", "one",
    "c#",   "Café",          "cafe",    "Straße", "strasse", "жук",   "ЖУКИ", "ж",
    "уки",  "東京",          "京",      "東京都", "都",      "हिन्दी", "हिन्",  "x東京y",
    "ab京", "http://a/boat", "3.1.4",   "1.4",    "naïve"};

struct Library {
    std::map<Uuid, CrumbItemPointer> items;
    std::map<Uuid, MemoryAttributes> attributes;
};

class RandomWords {
  public:
    explicit RandomWords(unsigned seed) : random_(seed) {}

    std::size_t below(std::size_t count) { return random_() % count; }
    std::string text(std::size_t most) {
        std::string text;
        for (std::size_t i = below(most + 1); i > 0; --i) text += words[below(words.size())] + " ";
        return text;
    }
    /// A word, or a part of one, down to one letter.
    std::string term() {
        const std::string& word = words[below(words.size())];
        const auto first = firstCharacters(word, below(6));
        return std::string(first.empty() || first.front() == '#' ? std::string_view("oat") : first);
    }
    Uuid id() {
        Uuid::Bytes bytes{};
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random_());
        return Uuid(bytes);
    }
    CrumbItemPointer item(const Uuid& id) {
        CrumbItem item;
        item.id = id;
        item.title = text(3);
        item.note = below(3) == 0 ? text(3) : "";
        item.searchableText = text(8);
        if (below(4) == 0) item.text = text(4);
        if (below(8) == 0) item.filePath = "/x/" + text(1);
        item.createdAt = Timestamp{static_cast<double>(below(50))};
        return std::make_shared<const CrumbItem>(std::move(item));
    }
    MemoryAttributes attributes() {
        MemoryAttributes attributes;
        if (below(6) == 0) attributes.manualTags.push_back("one");
        if (below(6) == 0) attributes.people.push_back("Aba Boat");
        if (below(6) == 0) attributes.groupName = text(1);
        return attributes;
    }

  private:
    std::mt19937 random_;
};

bool holds(std::string_view lines, const std::string& form) {
    if (form.empty()) return false;
    const bool anywhere =
        codePointCount(form) >= 3 || form.find(' ') != std::string::npos || isIdeographRun(form);
    for (const std::string_view line : splitLines(lines)) {
        if (anywhere && line.find(form) != std::string_view::npos) return true;
        const auto pieces = splitWhiteSpace(line);
        if (std::find(pieces.begin(), pieces.end(), form) != pieces.end()) return true;
    }
    return false;
}

/// The best field for a term by reading the record; `searchFieldCount` when none holds it.
std::size_t fieldByReading(const SearchRecord& record, const QueryTerm& term) {
    if (holds(record.title, term.normal)) return 0;
    if (holds(record.note, term.normal)) return 1;
    if (holds(record.searchable, term.normal)) return 2;
    const bool elsewhere =
        holds(record.combined, term.normal) || holds(record.combined, term.allScripts);
    return elsewhere ? 3 : searchFieldCount;
}

/// Length must not count, or impacts would depend on when a memory came in.
RankingWeights withoutLengths() {
    RankingWeights weights;
    weights.lengthInfluence = 0;
    return weights;
}

void expectAgreement(const LexicalIndex& index, const Library& library, const std::string& text) {
    LexicalSearch search(index);
    const auto matches = search.match(text);
    const LexicalSnapshot snapshot = search.search(text, library.items.size());
    std::set<Uuid> expected;
    std::vector<bool> found(matches.terms.size(), false);
    for (const auto& [id, item] : library.items) {
        const SearchRecord record = makeSearchRecord(*item, library.attributes.at(id));
        const Ordinal ordinal = index.ordinalOf(id).value();
        for (std::size_t i = 0; i < matches.terms.size(); ++i) {
            const std::size_t field = fieldByReading(record, matches.query.terms[i]);
            if (field == searchFieldCount) continue;
            found[i] = true;
            expected.insert(id);
            const FieldMask bits = bitsOf(matches.terms[i]->accumulator().at(ordinal));
            ASSERT_EQ(static_cast<std::size_t>(bestField(bits)), field)
                << text << " in " << record.combined;
        }
        for (const std::string& tag : matches.query.requestedTags) {
            if (record.tags.contains(tag)) expected.insert(id);
        }
    }
    const std::set<Uuid> hits(snapshot.rankedIDs.begin(), snapshot.rankedIDs.end());
    ASSERT_EQ(hits.size(), snapshot.totalCount) << text;
    if (std::find(found.begin(), found.end(), false) == found.end()) {
        ASSERT_EQ(hits, expected) << text;
    } else {
        // What is corrected may add hits, never take any away.
        ASSERT_TRUE(std::includes(hits.begin(), hits.end(), expected.begin(), expected.end()));
    }
}

/// The few best are the beginning of all, and an index built at once ranks the same.
void expectSameRanking(const LexicalIndex& index, const LexicalIndex& fresh,
                       const std::string& text) {
    LexicalSearch search(index);
    const LexicalSnapshot all = search.search(text, index.size());
    const LexicalSnapshot few = search.search(text, 7);
    ASSERT_EQ(few.totalCount, all.totalCount);
    ASSERT_TRUE(std::equal(few.rankedIDs.begin(), few.rankedIDs.end(), all.rankedIDs.begin()))
        << text;
    ASSERT_TRUE(std::is_sorted(
        all.rankedIDs.begin(), all.rankedIDs.end(), [&](const Uuid& a, const Uuid& b) {
            const auto key = [&](const Uuid& id) {
                const auto created = index.item(*index.ordinalOf(id))->createdAt;
                return std::tuple(-all.scores.at(id), -created.secondsSince1970, id);
            };
            return key(a) < key(b);
        }));
    const LexicalSnapshot anew = LexicalSearch(fresh).search(text, index.size());
    ASSERT_EQ(anew.rankedIDs, all.rankedIDs) << text;
    for (const Uuid& id : all.rankedIDs) {
        ASSERT_DOUBLE_EQ(anew.scores.at(id), all.scores.at(id)) << text;
        ASSERT_EQ(anew.hints.at(id), all.hints.at(id)) << text;
    }
}

TEST(LexicalIndex, AgreesWithReadingEveryRecordAfterThousandsOfChanges) {
    RandomWords random(5);
    Library library;
    LexicalIndex index(withoutLengths());
    const auto change = [&] {
        const bool grow = library.items.size() < 600 || random.below(3) == 0;
        Uuid id = random.id();
        if (!grow)
            id = std::next(library.items.begin(),
                           static_cast<std::ptrdiff_t>(random.below(library.items.size())))
                     ->first;
        if (!grow && random.below(2) == 0) {
            index.remove(id);
            library.items.erase(id);
            library.attributes.erase(id);
            return;
        }
        library.items[id] = random.item(id);
        library.attributes[id] = random.attributes();
        index.put(library.items[id], library.attributes[id]);
    };
    for (int round = 0; round < 60; ++round) {
        for (int i = 0; i < 250; ++i) change();
        std::vector<CrumbItemPointer> items;
        std::vector<MemoryAttributes> attributes;
        for (const auto& [id, item] : library.items) {
            items.push_back(item);
            attributes.push_back(library.attributes.at(id));
        }
        ASSERT_EQ(index.size(), items.size());
        LexicalIndex fresh(withoutLengths());
        fresh.putAll(items, attributes);
        for (int query = 0; query < 6; ++query) {
            std::set<std::string> terms;
            for (std::size_t more = random.below(3) + 1; more > 0; --more) {
                terms.insert(lowerCased(random.term()));
            }
            std::string text;
            for (const std::string& term : terms) text += term + " ";
            if (random.below(4) == 0) text += "#one";
            expectAgreement(index, library, text);
            expectSameRanking(index, fresh, text);
            if (HasFatalFailure()) return;
        }
    }
}

/// Equal to the last bit.
void expectSameAnswer(const LexicalIndex& index, const LexicalIndex& other,
                      const std::string& text) {
    const LexicalSnapshot expected = LexicalSearch(other).search(text, 40);
    const LexicalSnapshot found = LexicalSearch(index).search(text, 40);
    ASSERT_EQ(found.totalCount, expected.totalCount) << text;
    ASSERT_EQ(found.rankedIDs, expected.rankedIDs) << text;
    for (const Uuid& id : found.rankedIDs) {
        ASSERT_EQ(found.scores.at(id), expected.scores.at(id)) << text;
        ASSERT_EQ(found.hints.at(id), expected.hints.at(id)) << text;
    }
}

TEST(LexicalIndex, IsTheSameHoweverItsMemoriesCameIn) {
    RandomWords random(7);
    std::vector<CrumbItemPointer> items;
    std::vector<MemoryAttributes> attributes;
    for (int i = 0; i < 3000; ++i) {
        // Some ids come twice: the later record stands.
        items.push_back(
            random.item(i % 100 == 99 ? items[random.below(items.size())]->id : random.id()));
        attributes.push_back(random.attributes());
    }
    std::vector<std::size_t> order(items.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return items[a]->createdAt > items[b]->createdAt;
    });
    LexicalIndex oneByOne;
    LexicalIndex atOnce;
    LexicalIndex asNeeded;
    for (const std::size_t place : order) oneByOne.put(items[place], attributes[place]);
    atOnce.putAll(items, attributes);
    asNeeded.putAll(items, attributes, Deriving::asNeeded);
    ASSERT_EQ(atOnce.vocabulary().size(), oneByOne.vocabulary().size());
    for (TokenId token = 0; token < atOnce.vocabulary().size(); ++token) {
        ASSERT_EQ(atOnce.vocabulary().text(token), oneByOne.vocabulary().text(token));
        ASSERT_EQ(atOnce.documentFrequency(token), oneByOne.documentFrequency(token));
    }
    EXPECT_EQ(atOnce.size(), oneByOne.size());
    EXPECT_TRUE(asNeeded.derivesAsNeeded());
    EXPECT_FALSE(atOnce.derivesAsNeeded());
    for (int query = 0; query < 40; ++query) {
        // With the twentieth query a memory comes in.
        if (query == 20) {
            const auto added = random.item(random.id());
            atOnce.put(added, {});
            asNeeded.put(added, {});
            EXPECT_FALSE(asNeeded.derivesAsNeeded());
        }
        std::string text = random.term() + " " + random.term();
        if (query % 4 == 0) text += " e-mail";
        if (query % 5 == 0) text = "baot";  // is corrected
        expectSameAnswer(asNeeded, atOnce, text);
        if (HasFatalFailure()) return;
    }
}

}  // namespace
}  // namespace nookery
