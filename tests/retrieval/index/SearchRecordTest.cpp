#include "retrieval/index/SearchRecord.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

using Tags = std::set<std::string>;

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

}  // namespace
}  // namespace nookery
