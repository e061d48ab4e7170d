#include "retrieval/index/Vocabulary.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

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
    EXPECT_EQ(textsOf(vocabulary.prefixOneEditAway("boaz")), (Texts{"boat", "boats"}));
    EXPECT_EQ(textsOf(vocabulary.prefixOneEditAway("превет")), Texts{"приветствие"});
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
