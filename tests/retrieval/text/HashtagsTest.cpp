#include "retrieval/text/Hashtags.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace nookery
