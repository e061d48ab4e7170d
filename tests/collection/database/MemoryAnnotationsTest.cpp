#include "collection/database/MemoryAnnotations.h"

#include <gtest/gtest.h>

#include "records/DefaultsKeys.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

using Tags = std::vector<std::string>;

class MemoryAnnotationsTest : public ::testing::Test {
  protected:
    MemoryAnnotationsTest() : platform_(world_.platform()) {}

    std::unique_ptr<MemoryAnnotations> load() {
        auto annotations = std::make_unique<MemoryAnnotations>(platform_);
        annotations->load();
        return annotations;
    }
    std::string stored(std::string_view key) { return world_.defaults.get(key).value_or("none"); }

    testing::TestPlatform world_;
    Platform platform_;
    const Uuid one_ = Uuid::random();
    const Uuid other_ = Uuid::random();
};

TEST_F(MemoryAnnotationsTest, AChangeLeavesWhatOthersHaveChangedMeanwhile) {
    const auto annotations = load();
    load()->setManualTags(other_, {"theirs"});
    annotations->setManualTags(one_, {"ours"});
    annotations->recordSelection(one_);
    annotations->setBringBack(one_, Timestamp{1.9e9});
    auto again = load();
    EXPECT_EQ(again->manualTags(one_), Tags{"ours"});
    EXPECT_EQ(again->manualTags(other_), Tags{"theirs"});
    EXPECT_EQ(again->usageSignals(), annotations->usageSignals());
    EXPECT_EQ(again->bringBackDates().get(), annotations->bringBackDates().get());
    annotations->forget({one_});
    again = load();
    EXPECT_EQ(again->manualTags(other_), Tags{"theirs"});
    for (const auto key : libraryDefaultsKeys) {
        EXPECT_EQ(stored(key).find(one_.toString()), std::string::npos) << key;
    }
}

TEST_F(MemoryAnnotationsTest, AChangeThatCouldNotBeSavedGoesWithTheNext) {
    const auto annotations = load();
    annotations->setManualTags(other_, {"goes"});
    world_.defaults.refusesChanges = true;
    EXPECT_THROW(annotations->setManualTags(one_, {"kept"}), DefaultsError);
    EXPECT_THROW(annotations->forget({other_}), DefaultsError);
    EXPECT_EQ(annotations->manualTags(one_), Tags{"kept"});
    world_.defaults.refusesChanges = false;
    annotations->recordSelection(one_);
    EXPECT_EQ(load()->manualTags(one_), Tags{"kept"});
    EXPECT_EQ(load()->manualTags(other_), Tags{});
    world_.defaults.refusesChanges = true;
    EXPECT_THROW(annotations->forgetAll(), DefaultsError);
    world_.defaults.refusesChanges = false;
    annotations->setManualTags(other_, {"new"});
    EXPECT_EQ(load()->manualTags(one_), Tags{});
}

TEST_F(MemoryAnnotationsTest, WhatCannotBeReadIsKeptAsItWasAndTheRestIsRead) {
    const std::string damaged =
        "{ \"" + one_.toString() + "\": [\"fine\"], \"" + other_.toString() + "\": 7 }";
    world_.defaults.set(manualTagsDefaultsKey, damaged);
    world_.defaults.set(usageDefaultsKey, "{\"" + one_.toString());
    const auto annotations = load();
    EXPECT_EQ(annotations->manualTags(one_), Tags{"fine"});
    EXPECT_TRUE(world_.log.contains(manualTagsDefaultsKey));
    EXPECT_EQ(stored(manualTagsDefaultsKey), damaged) << "looking changes nothing";

    annotations->recordSelection(one_);
    EXPECT_EQ(stored("Crumb.ManualTags.v1.unreadable"), damaged);
    EXPECT_EQ(stored("Crumb.UsageSignals.v1.unreadable"), "{\"" + one_.toString());
    EXPECT_EQ(load()->manualTags(one_), Tags{"fine"});
    EXPECT_EQ(load()->usageSignals().at(one_).selectionCount, 1);

    world_.defaults.set(manualTagsDefaultsKey, "damaged again");
    load()->recordSelection(one_);
    EXPECT_EQ(stored("Crumb.ManualTags.v1.unreadable"), damaged);
    EXPECT_EQ(stored("Crumb.ManualTags.v1.unreadable-2"), "damaged again");
}

TEST_F(MemoryAnnotationsTest, AnIdInLowerCaseIsTheSameMemory) {
    std::string lower = one_.toString();
    for (char& c : lower) c = static_cast<char>(std::tolower(c));
    world_.defaults.set(manualTagsDefaultsKey, "{\"" + lower + "\":[\"old\"]}");
    const auto annotations = load();
    EXPECT_EQ(annotations->manualTags(one_), Tags{"old"});
    annotations->recordSelection(one_);
    EXPECT_EQ(stored(manualTagsDefaultsKey), "{\"" + one_.toString() + "\":[\"old\"]}");
}

}  // namespace
}  // namespace nookery
