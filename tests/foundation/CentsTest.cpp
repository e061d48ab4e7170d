#include "foundation/Cents.h"

#include <gtest/gtest.h>

#include <limits>

namespace nookery {
namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();

TEST(Cents, ReadsAmountsAsPeopleTypeThem) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"$1,234.5", 123450},
        {"0", 0},
        {"-0.00", 0},
        {" 12 ", 1200},
        {"$ 7.5", 750},
        {".5", 50},
        {"5.", 500},
        {"+3", 300},
        {"1.004", 100},
        {"1.005", 101},
        {"0.995", 100},
        {"1.00499999999999999999999", 100},
        {"1,2,3", 12300},
        {"000000000000000000000000000001", 100},
        {"92,233,720,368,547,758.07", largest},
        {"92233720368547758.074", largest},
    };
    for (const auto& [text, count] : cases) {
        EXPECT_EQ(parseAmountEntry(text), Cents{count}) << text;
    }
    for (const char* blank : {"", "   ", "\t\n", "\u00a0"}) {
        EXPECT_EQ(parseAmountEntry(blank), std::nullopt);
    }
}

TEST(Cents, RefusesWhatIsNoAmountInItsOwnWords) {
    const auto refusal = [](const char* text) -> std::string {
        try {
            parseAmountEntry(text);
            return "taken";
        } catch (const AmountError& error) {
            return error.description();
        }
    };
    for (const char* text : {"-1", "-0.001", "$-5", "abc", "$", ",", ".", "1.2.3", "1 2", "--1",
                             "1e5", "NaN", "inf", "0x10", "12a", "\u0661"}) {
        EXPECT_EQ(refusal(text), "Enter a valid, non-negative dollar amount.") << text;
    }
    for (const char* text : {"92233720368547758.08", "92233720368547758.075",
                             "1000000000000000000000000000000000000000"}) {
        EXPECT_EQ(refusal(text), "This amount is too large.") << text;
    }
}

TEST(Cents, NeverWrapsAround) {
    EXPECT_EQ(checkedSum({largest}, {1}), std::nullopt);
    EXPECT_EQ(checkedSum({largest - 1}, {1}), Cents{largest});
    EXPECT_EQ(checkedDifference({lowest}, {1}), std::nullopt);
    EXPECT_EQ(checkedDifference({0}, {lowest}), std::nullopt);
    EXPECT_EQ(toText({largest}), "92233720368547758.07");
    EXPECT_EQ(toText({lowest}), "-92233720368547758.08");
    EXPECT_EQ(toText({-5}), "-0.05");
    EXPECT_EQ(toText({123450}), "1234.50");
}

}  // namespace
}  // namespace nookery
