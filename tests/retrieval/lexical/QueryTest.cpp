#include "retrieval/lexical/Query.h"

#include <gtest/gtest.h>

#include "retrieval/index/SearchRecord.h"
#include "retrieval/index/Vocabulary.h"
#include "retrieval/text/EnglishStemmer.h"
#include "retrieval/text/Hashtags.h"

namespace nookery {
namespace {

using Tags = std::set<std::string>;

TEST(Hashtags, AreWordsAfterANumberSignThatNoWordPrecedes) {
    EXPECT_EQ(hashtagsIn("#Travel and (#food)!"), (Tags{"travel", "food"}));
    EXPECT_EQ(hashtagsIn("#2024-trip_notes"), Tags{"2024-trip_notes"});
    EXPECT_EQ(hashtagsIn("C# a#b é#c _#d 9#e"), Tags{});
    EXPECT_EQ(hashtagsIn("#-x # #_y ##"), Tags{});
    EXPECT_EQ(hashtagsIn("##double -#minus"), (Tags{"double", "minus"}));
    EXPECT_EQ(hashtagsIn("#a#b"), Tags{"a"});
    EXPECT_EQ(hashtagsIn("#ÜBER #москва #東京 #x²"), (Tags{"über", "москва", "東京", "x²"}));
    EXPECT_EQ(hashtagsIn("#end."), Tags{"end"});
}

TEST(Query, SeparatesTermsFromRequestedTags) {
    const Query query = parseQuery("  Boat\u3000#Travel C# #  \u00C4pfel\n");
    EXPECT_EQ(query.text, "boat\u3000#travel c# #  \u00E4pfel");
    EXPECT_EQ(query.requestedTags, Tags{"travel"});
    ASSERT_EQ(query.terms.size(), 3U);
    EXPECT_EQ(query.terms[1].normal, "c#");
    EXPECT_EQ(query.terms[2].typed, "\u00E4pfel");
    EXPECT_EQ(query.terms[2].normal, "apfel");
    EXPECT_EQ(query.terms[2].allScripts, "");
    EXPECT_TRUE(parseQuery(" \n#").isEmpty());
}

TEST(Query, TermsOfOtherScriptsHaveAFormOfTheirOwn) {
    const Query query = parseQuery("москва straße");
    EXPECT_EQ(query.terms[0].normal, "");
    EXPECT_EQ(query.terms[0].allScripts, "москва");
    EXPECT_EQ(query.terms[1].normal, "stra e");
    EXPECT_EQ(query.terms[1].allScripts, "strasse");
}

TEST(SearchRecord, HoldsEveryFieldAndNoMarker) {
    CrumbItem item;
    item.title = "Día #Uno";
    item.note = "note #Two";
    item.text = "body";
    item.urlString = "https://Example.com/page";
    item.filePath = "/home/me/Scan_7.PDF";
    item.searchableText =
        "seen mobile-note-id:AB-12 here __crumb_activity__ __crumb_secure_credit_card__end __crumb";
    const SearchRecord record =
        makeSearchRecord(item, {{"#Manual", " "}, {"Anna Berg"}, "My Group"});
    EXPECT_EQ(record.title, "dia #uno");
    EXPECT_EQ(record.searchable, "body seen here end crumb");
    EXPECT_EQ(record.tags, (Tags{"uno", "two", "manual"}));
    EXPECT_EQ(record.people, Tags{"anna berg"});
    for (const char* part : {"example com page", "scan 7 pdf", "my group", "manual", "anna berg"}) {
        EXPECT_NE(record.combined.find(part), std::string::npos) << part;
    }
    for (const char* marker : {"mobile", "12", "secure", "activity"}) {
        EXPECT_EQ(record.combined.find(marker), std::string::npos) << marker;
    }
}

TEST(EnglishStemmer, TakesWordsToTheStemsOfThePublishedVocabulary) {
    const std::pair<const char*, const char*> words[] = {
        {"caresses", "caress"},  {"ponies", "poni"},           {"cats", "cat"},
        {"agreed", "agre"},      {"plastered", "plaster"},     {"motoring", "motor"},
        {"sing", "sing"},        {"conflated", "conflat"},     {"hopping", "hop"},
        {"falling", "fall"},     {"filing", "file"},           {"happy", "happi"},
        {"relational", "relat"}, {"triplicate", "triplic"},    {"adjustment", "adjust"},
        {"adoption", "adopt"},   {"probate", "probat"},        {"controlling", "control"},
        {"rate", "rate"},        {"generalizations", "gener"}, {"oscillators", "oscil"}};
    for (const auto& [word, stem] : words) EXPECT_EQ(englishStem(word), stem) << word;
}

TEST(Vocabulary, FindsTokensByAnyPart) {
    Vocabulary vocabulary;
    const std::vector<std::string> words{"boat", "boats",  "lifeboat",    "oat",
                                         "aaaa", "привет", "приветствие", "東京",
                                         "b",    "ab",     "c#"};
    for (const std::string& word : words) vocabulary.intern(word);
    EXPECT_EQ(vocabulary.intern("boat"), vocabulary.find("boat"));
    const auto textsOf = [&](const std::vector<TokenId>& tokens) {
        std::set<std::string> texts;
        for (const TokenId token : tokens) texts.emplace(vocabulary.text(token));
        EXPECT_EQ(texts.size(), tokens.size());
        return texts;
    };
    using Texts = std::set<std::string>;
    EXPECT_EQ(textsOf(vocabulary.containing("oat")), (Texts{"boat", "boats", "lifeboat", "oat"}));
    EXPECT_EQ(textsOf(vocabulary.containing("boat")), (Texts{"boat", "boats", "lifeboat"}));
    EXPECT_EQ(textsOf(vocabulary.containing("aaa")), Texts{"aaaa"});
    EXPECT_EQ(textsOf(vocabulary.containing("вет")), (Texts{"привет", "приветствие"}));
    EXPECT_EQ(textsOf(vocabulary.startingWith("b")), (Texts{"boat", "boats", "b"}));
    EXPECT_EQ(textsOf(vocabulary.startingWith("boat")), (Texts{"boat", "boats"}));
    EXPECT_EQ(textsOf(vocabulary.endingWith("at")), (Texts{"boat", "lifeboat", "oat"}));
    EXPECT_EQ(textsOf(vocabulary.endingWith("b")), (Texts{"b", "ab"}));
    EXPECT_EQ(textsOf(vocabulary.sharingStem("boating")), (Texts{"boat", "boats"}));
    EXPECT_EQ(textsOf(vocabulary.oneEditAway("baot")), Texts{"boat"});
    EXPECT_EQ(textsOf(vocabulary.oneEditAway("boat")), (Texts{"boats", "oat"}));
    EXPECT_EQ(textsOf(vocabulary.oneEditAway("превет")), Texts{"привет"});
    EXPECT_EQ(textsOf(vocabulary.beginningOneEditAway("boaz")), (Texts{"boat", "boats"}));
    EXPECT_EQ(textsOf(vocabulary.beginningOneEditAway("превет")), Texts{"приветствие"});
}

TEST(Vocabulary, AnEditIsOneLetterAddedDroppedChangedOrSwapped) {
    for (const char* other : {"abc", "abcde", "abxd", "bacd", "acbd", "abdc", "xabcd"}) {
        EXPECT_TRUE(isOneEditAway("abcd", other)) << other;
        EXPECT_TRUE(isOneEditAway(other, "abcd")) << other;
    }
    for (const char* other : {"abcd", "ab", "badc", "cbad", "axxd", "bcda", "abcdef"}) {
        EXPECT_FALSE(isOneEditAway("abcd", other)) << other;
    }
}

}  // namespace
}  // namespace nookery
