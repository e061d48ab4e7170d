#include <gtest/gtest.h>

#include <cstdlib>

#include "foundation/Published.h"
#include "foundation/Text.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {
namespace {

TEST(Uuid, IsWrittenInUpperCaseAndReadInEither) {
    const std::string text = "0F8FAD5B-D9CB-469F-A165-70867728950E";
    EXPECT_EQ(Uuid::parse("0f8fad5b-d9cb-469f-a165-70867728950e")->toString(), text);
    EXPECT_EQ(Uuid::parse(text)->toString(), text);
    for (const char* wrong :
         {"", "0F8FAD5B", "0F8FAD5BD9CB-469F-A165-70867728950E-",
          "0F8FAD5B-D9CB-469F-A165-70867728950G", "{0F8FAD5B-D9CB-469F-A165-70867728950E}"}) {
        EXPECT_FALSE(Uuid::parse(wrong)) << wrong;
    }
    EXPECT_NE(Uuid::random(), Uuid::random());
}

TEST(Timestamp, Iso8601RoundTripsAndRefusesWhatIsNotADate) {
    EXPECT_EQ(toIso8601(Timestamp{0}), "1970-01-01T00:00:00Z");
    EXPECT_EQ(toIso8601(Timestamp{-0.5}), "1969-12-31T23:59:59.500Z");
    EXPECT_EQ(parseIso8601("2026-03-01T11:30:00+02:00"), parseIso8601("2026-03-01T09:30:00Z"));
    EXPECT_EQ(toIso8601(*parseIso8601("2024-02-29T23:59:59.25Z")), "2024-02-29T23:59:59.250Z");
    EXPECT_EQ(toIso8601(*parseIso8601("2024-02-29")), "2024-02-29T00:00:00Z");
    for (const char* wrong :
         {"", "2023-02-29", "2024-13-01", "2024-1-01", "2024-01-01T24:00Z", "2024-01-01T10",
          "2024-01-01x", "0000-01-01", "2024-01-01T10:00:00."}) {
        EXPECT_FALSE(parseIso8601(wrong)) << wrong;
    }
}

TEST(Timestamp, FolderTimestampsSortInTimeOrder) {
    const Timestamp early{1'800'000'000.25};
    const Timestamp late{1'800'000'000.75};
    EXPECT_LT(toFolderTimestamp(early), toFolderTimestamp(late));
    EXPECT_EQ(parseFolderTimestamp(toFolderTimestamp(early)), early);
    EXPECT_FALSE(parseFolderTimestamp(".building-" + toFolderTimestamp(early)));
}

TEST(Timestamp, DaysAreThoseOfTheLocalClock) {
    const char* before = std::getenv("TZ");
    const std::string zoneBefore = before == nullptr ? "" : before;
    struct Case {
        const char* zone;
        const char* moment;
        const char* day;
    };
    // In Havana the clocks go forward at midnight: March 8, 2026 begins at one o'clock.
    for (const Case& wanted : {Case{"America/Havana", "2026-03-08T04:59:59Z", "2026-03-07"},
                               Case{"America/Havana", "2026-03-08T05:00:00Z", "2026-03-08"},
                               Case{"Pacific/Kiritimati", "1969-12-31T10:40:00Z", "1969-12-31"}}) {
        ::setenv("TZ", wanted.zone, 1);
        ::tzset();
        EXPECT_EQ(toText(localDay(parseIso8601(wanted.moment).value())), wanted.day);
        EXPECT_EQ(toText(parseCalendarDay(wanted.day).value()), wanted.day);
    }
    ::setenv("TZ", zoneBefore.c_str(), 1);
    if (before == nullptr) ::unsetenv("TZ");
    ::tzset();
    for (const char* wrong : {"2026-02-29", "2026-3-01", "2026-03-01 ", "0000-01-01"}) {
        EXPECT_FALSE(parseCalendarDay(wrong)) << wrong;
    }
}

TEST(Text, CountsWhatAPersonCallsACharacter) {
    EXPECT_EQ(firstCharacters("abc", 2), "ab");
    EXPECT_EQ(firstCharacters("e\u0301galite\u0301", 1), "e\u0301");
    EXPECT_EQ(firstCharacters("👩‍👩‍👧 family", 1), "👩‍👩‍👧");
    EXPECT_EQ(firstCharacters("a\r\nb", 2), "a\r\n");
    // The mark belongs to the last letter that fits.
    EXPECT_EQ(firstCharacters("abe\u0301", 3), "abe\u0301");
}

TEST(Text, WhatIsShownSteersNoTerminalAndTurnsNoWriting) {
    EXPECT_EQ(withoutSteering("a\x1b[2Jb\r\nc\x07\t\x7f"), "a [2Jb \nc   ");
    EXPECT_EQ(withoutSteering("\u009b31mx\u202egpj.exe\u2066"), " 31mx gpj.exe ");
    EXPECT_EQ(withoutSteering("Grüße \u05e9\u200f \xff"), "Grüße \u05e9\u200f \ufffd");
}

TEST(Text, TrimsAndSplitsByUnicodeRules) {
    EXPECT_EQ(trimmed(" \u00A0\u3000a b\u2028\n"), "a b");
    EXPECT_EQ(trimmed("\u2003\t"), "");
    EXPECT_EQ(splitLines("a\r\nb\u2029c\n").size(), 4u);
    EXPECT_EQ(splitWhiteSpace("\u3000a \tb\n").size(), 2u);
    EXPECT_EQ(toValidUtf8(std::string_view("a\xFF\0b\xC3", 5)), "a\uFFFDb\uFFFD");
}

TEST(Published, AnnouncesToLivingObserversOnly) {
    Published<int> value;
    int seen = 0;
    auto subscription = value.subscribe([&](int now) { seen = now; });
    value.set(3);
    EXPECT_EQ(seen, 3);
    subscription.reset();
    value.set(4);
    EXPECT_EQ(seen, 3);
}

}  // namespace
}  // namespace nookery
