#include "records/CrumbItem.h"

#include <gtest/gtest.h>

namespace nookery {
namespace {

TEST(CrumbItem, KindsAreTheFiveRawValuesExactly) {
    for (const char* raw : {"text", "url", "image", "file", "activity"}) {
        EXPECT_EQ(rawValue(kindFromRawValue(raw).value()), raw);
    }
    for (const char* wrong : {"video", "Text", "", "text "}) EXPECT_FALSE(kindFromRawValue(wrong));
}

TEST(CrumbItem, KeyedFormRoundTripsWithBothDateForms) {
    CrumbItem item;
    item.id = Uuid::random();
    item.title = "Café";
    item.kind = CrumbKind::image;
    item.createdAt = Timestamp{1'700'000'000.5};
    item.filePath = "/tmp/a.png";
    item.groupID = Uuid::random();
    for (const KeyedDates dates : {KeyedDates::secondsSince2001, KeyedDates::iso8601}) {
        const Json keyed = toKeyedForm(item, dates);
        EXPECT_FALSE(keyed.contains("text"));
        EXPECT_EQ(itemFromKeyedForm(keyed, dates), item);
    }
    EXPECT_EQ(toKeyedForm(item, KeyedDates::secondsSince2001)["createdAt"], 721692800.5);
}

TEST(CrumbItem, AMissingRequiredKeyFailsTheWholeDecode) {
    CrumbItem item;
    item.id = Uuid::random();
    const Json keyed = toKeyedForm(item, KeyedDates::secondsSince2001);
    for (const char* key : {"id", "title", "kind", "createdAt", "searchableText", "note"}) {
        Json damaged = keyed;
        damaged.erase(key);
        EXPECT_THROW(itemFromKeyedForm(damaged, KeyedDates::secondsSince2001), JsonError) << key;
        damaged[key] = Json::array();
        EXPECT_THROW(itemFromKeyedForm(damaged, KeyedDates::secondsSince2001), JsonError) << key;
    }
}

}  // namespace
}  // namespace nookery
