#include "retrieval/text/EnglishWords.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

TEST(EnglishWords, HaveTheStemsOfThePublishedVocabulary) {
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

}  // namespace
}  // namespace nookery
