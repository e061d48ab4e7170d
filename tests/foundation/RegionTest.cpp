#include "foundation/Region.h"

#include <gtest/gtest.h>

#include "foundation/Error.h"

namespace nookery {
namespace {

std::string timeOf(const Region& region, const std::string& moment) {
    const CalendarFields fields = region.fields(*parseIso8601(moment));
    return toIso8601(*dateFromUtc(fields));
}

TEST(RegionTest, GivesDatesAsTheyAreReadThere) {
    const Region kathmandu({"Asia/Kathmandu", "en_US"});
    EXPECT_EQ(timeOf(kathmandu, "2026-03-01T20:30:00.250Z"), "2026-03-02T02:15:00.250Z");
    const Region berlin({"Europe/Berlin", "de_DE"});
    EXPECT_EQ(timeOf(berlin, "2026-03-29T00:59:59Z"), "2026-03-29T01:59:59Z");
    EXPECT_EQ(timeOf(berlin, "2026-03-29T01:00:00Z"), "2026-03-29T03:00:00Z");
    EXPECT_EQ(timeOf(berlin, "1969-12-31T23:30:00Z"), "1970-01-01T00:30:00Z");
    EXPECT_EQ(berlin.abbreviatedDay(*parseIso8601("2026-03-01T23:30:00Z")), "02.03.2026");
    EXPECT_EQ(kathmandu.abbreviatedDay(*parseIso8601("2026-03-01T12:00:00Z")), "Mar 1, 2026");
}

TEST(RegionTest, IsTheThreadsOwnWhileItsScopeLives) {
    const Timestamp moment = *parseIso8601("2026-03-01T20:30:00Z");
    const CalendarDay before = localDay(moment);
    const Region east({"Pacific/Kiritimati", "en_US"});
    const Region west({"Pacific/Pago_Pago", "en_US"});
    {
        const RegionScope outer(&east);
        EXPECT_EQ(localFields(moment).hour, 10);
        {
            const RegionScope inner(&west);
            EXPECT_EQ(localFields(moment).hour, 9);
        }
        EXPECT_EQ(toText(localDay(moment)), "2026-03-02");
    }
    EXPECT_EQ(localDay(moment), before);
}

TEST(RegionTest, NamesAZoneThatNobodyKnows) {
    try {
        const Region nowhere({"Mars/Olympus", "en_US"});
        FAIL();
    } catch (const Error& error) {
        EXPECT_NE(error.description().find("Mars/Olympus"), std::string::npos);
    }
}

}  // namespace
}  // namespace nookery
