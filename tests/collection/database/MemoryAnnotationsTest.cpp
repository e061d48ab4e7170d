#include "collection/database/MemoryAnnotations.h"

#include <gtest/gtest.h>

#include "foundation/Text.h"
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
        annotations->adopt(loadAnnotations(platform_));
        return annotations;
    }
    /// Changes annotations, and writes what is unsaved as their owner does.
    template <typename Change>
    void change(MemoryAnnotations& annotations, const Change& change) {
        change(annotations);
        const UnsavedAnnotations unsaved = annotations.takeUnsaved();
        try {
            save(world_.defaults, unsaved);
        } catch (const Error&) {
            annotations.keepUnsaved(unsaved);
            throw;
        }
    }
    void setTags(MemoryAnnotations& annotations, const Uuid& id, const Tags& tags) {
        change(annotations, [&](auto& all) { all.setManualTags(id, tags); });
    }
    void select(MemoryAnnotations& annotations, const Uuid& id) {
        change(annotations, [&](auto& all) { all.recordSelection(id); });
    }
    void forget(MemoryAnnotations& annotations, const Uuid& id) {
        change(annotations, [&](auto& all) { all.forget({id}); });
    }
    std::string stored(std::string_view key) { return world_.defaults.get(key).value_or("none"); }

    testing::TestPlatform world_;
    Platform platform_;
    const Uuid one_ = Uuid::random();
    const Uuid other_ = Uuid::random();
};

TEST_F(MemoryAnnotationsTest, AChangeLeavesWhatOthersHaveChangedMeanwhile) {
    const auto annotations = load();
    setTags(*load(), other_, {"theirs"});
    setTags(*annotations, one_, {"ours"});
    select(*annotations, one_);
    change(*annotations, [&](auto& all) { all.setBringBack(one_, Timestamp{1.9e9}); });
    auto again = load();
    EXPECT_EQ(again->manualTags(one_), Tags{"ours"});
    EXPECT_EQ(again->manualTags(other_), Tags{"theirs"});
    EXPECT_EQ(again->usageSignals(), annotations->usageSignals());
    EXPECT_EQ(again->bringBackDates().get(), annotations->bringBackDates().get());
    forget(*annotations, one_);
    again = load();
    EXPECT_EQ(again->manualTags(other_), Tags{"theirs"});
    for (const auto key : libraryDefaultsKeys) {
        EXPECT_EQ(stored(key).find(one_.toString()), std::string::npos) << key;
    }
}

TEST_F(MemoryAnnotationsTest, AChangeThatCouldNotBeSavedGoesWithTheNext) {
    const auto annotations = load();
    setTags(*annotations, other_, {"goes"});
    world_.defaults.refusesChanges = true;
    EXPECT_THROW(setTags(*annotations, one_, {"kept"}), DefaultsError);
    EXPECT_THROW(forget(*annotations, other_), DefaultsError);
    EXPECT_EQ(annotations->manualTags(one_), Tags{"kept"});
    world_.defaults.refusesChanges = false;
    select(*annotations, one_);
    EXPECT_EQ(load()->manualTags(one_), Tags{"kept"});
    EXPECT_EQ(load()->manualTags(other_), Tags{});
    world_.defaults.refusesChanges = true;
    EXPECT_THROW(change(*annotations, [](auto& all) { all.forgetAll(); }), DefaultsError);
    world_.defaults.refusesChanges = false;
    setTags(*annotations, other_, {"new"});
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

    select(*annotations, one_);
    EXPECT_EQ(stored("Crumb.ManualTags.v1.unreadable"), damaged);
    EXPECT_EQ(stored("Crumb.UsageSignals.v1.unreadable"), "{\"" + one_.toString());
    EXPECT_EQ(load()->manualTags(one_), Tags{"fine"});
    EXPECT_EQ(load()->usageSignals().at(one_).selectionCount, 1);

    world_.defaults.set(manualTagsDefaultsKey, "damaged again");
    select(*load(), one_);
    EXPECT_EQ(stored("Crumb.ManualTags.v1.unreadable"), damaged);
    EXPECT_EQ(stored("Crumb.ManualTags.v1.unreadable-2"), "damaged again");
}

TEST_F(MemoryAnnotationsTest, AnIdInLowerCaseIsTheSameMemory) {
    std::string lower = one_.toString();
    for (char& c : lower) c = static_cast<char>(std::tolower(c));
    world_.defaults.set(manualTagsDefaultsKey, "{\"" + lower + "\":[\"old\"]}");
    const auto annotations = load();
    EXPECT_EQ(annotations->manualTags(one_), Tags{"old"});
    select(*annotations, one_);
    EXPECT_EQ(stored(manualTagsDefaultsKey), "{\"" + one_.toString() + "\":[\"old\"]}");
}

TEST_F(MemoryAnnotationsTest, ReadMemoryByMemoryTheyAreTheSame) {
    const Uuid third = Uuid::random();
    const std::string damaged = "{\"" + one_.toString() + "\":[\"fine\"],\"" +
                                lowerCased(other_.toString()) + "\":[\"old\"],\"" +
                                third.toString() + "\":7}";
    world_.defaults.set(manualTagsDefaultsKey, damaged);
    MemoryAnnotations annotations(platform_);
    annotations.adopt(loadBringBackDates(platform_));
    EXPECT_EQ(annotations.manualTags(one_), Tags{"fine"});
    EXPECT_FALSE(world_.log.contains(manualTagsDefaultsKey)) << "what it did not look at";
    EXPECT_THROW(static_cast<void>(annotations.usageSignals()), std::logic_error);
    setTags(annotations, other_, {"new"});
    EXPECT_EQ(load()->manualTags(other_), Tags{"new"}) << "an entry of another spelling came back";

    EXPECT_EQ(annotations.manualTags(third), Tags{});
    EXPECT_TRUE(world_.log.contains(manualTagsDefaultsKey));
    select(annotations, third);
    EXPECT_NE(stored("Crumb.ManualTags.v1.unreadable").find(":7"), std::string::npos);
    select(annotations, third);
    const std::vector<Uuid> many(2000, third);
    annotations.readAhead(many);
    std::vector<Uuid> others(2000);
    for (Uuid& id : others) id = Uuid::random();
    others.push_back(one_);
    setTags(*load(), one_, {"theirs"});
    annotations.readAhead(others);
    EXPECT_EQ(annotations.manualTags(one_), Tags{"fine"}) << "what was read stands";
    EXPECT_EQ(annotations.usageSignals().at(third).selectionCount, 2);
    EXPECT_EQ(load()->usageSignals().at(third).selectionCount, 2);
}

}  // namespace
}  // namespace nookery
