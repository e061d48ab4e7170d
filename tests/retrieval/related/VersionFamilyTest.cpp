#include "retrieval/related/VersionFamily.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

using Words = std::vector<std::string>;

TEST(VersionFamily, TitleWordsKeepWhatIsNotAVersionMarker) {
    const std::vector<std::pair<std::string, Words>> cases{
        {"/x/Report final v2.pdf", {"report"}},
        {"Garden Plan (3)-copy.key", {"garden", "plan"}},
        {"trip_2024.rev 7 r 12.txt", {"trip", "2024"}},
        {"This is the one menu.doc", {"menu"}},
        {"finalists of draft3.txt", {"finalists", "of", "draft3"}},  // markers stand alone
        {"a b Ünit.txt", {"ünit"}},
    };
    for (const auto& [name, words] : cases) EXPECT_EQ(versionFreeWords(name), words) << name;
}

}  // namespace
}  // namespace nookery
