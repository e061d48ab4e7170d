#include "retrieval/lexical/Query.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

TEST(Query, SeparatesTermsFromRequestedTags) {
    const Query query = parseQuery("  Boat\u3000#Travel C# #  \u00C4pfel\n");
    EXPECT_EQ(query.text, "boat\u3000#travel c# #  \u00E4pfel");
    EXPECT_EQ(query.requestedTags, std::set<std::string>{"travel"});
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

}  // namespace
}  // namespace nookery
