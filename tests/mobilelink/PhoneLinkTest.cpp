#include <gtest/gtest.h>

#include <filesystem>

#include "collection/originals/MemoryRemoval.h"
#include "mobilelink/LinkErrors.h"
#include "mobilelink/LinkRecords.h"
#include "mobilelink/LinkWorld.h"
#include "platform/KeyStoreServices.h"

namespace nookery {
namespace {

using testing::LinkWorld;
using Strings = std::vector<std::string>;

class PhoneLinkTest : public ::testing::Test {
  protected:
    void start() {
        runs = link.link->lastRun().subscribe([this](const LinkOutcome& done) {
            const bool didSomething =
                done.edits.answeredCount() > 0 || done.publish.publishedCount > 0;
            if (didSomething) seen.push_back(done);
        });
        link.link->start();
        link.world.time.advance(3);
        seen.clear();
    }
    std::size_t publishCount() const {
        return static_cast<std::size_t>(std::ranges::count_if(
            seen, [](const LinkOutcome& outcome) { return outcome.publish.publishedCount > 0; }));
    }
    std::size_t logCount(const std::string& line) const {
        return static_cast<std::size_t>(std::ranges::count(link.world.log.lines, line));
    }

    LinkWorld link;
    Subscription runs;
    std::vector<LinkOutcome> seen;
};

TEST_F(PhoneLinkTest, ABurstOfChangesIsPublishedOnceThreeSecondsAfterTheLast) {
    start();
    link.note("one");
    link.world.time.advance(2);
    link.note("two");
    link.world.time.advance(2.9);
    EXPECT_EQ(publishCount(), 0u);
    link.world.time.advance(0.2);
    EXPECT_EQ(publishCount(), 1u);
    EXPECT_EQ(link.index().size(), 2u);
    EXPECT_EQ(logCount("NOOKERY: automatically published 2 memories to iCloud"), 1u);
    link.world.time.advance(600);
    EXPECT_EQ(publishCount(), 1u);
}

TEST_F(PhoneLinkTest, AManualRunTakesThePlaceOfTheOneThatWaits) {
    start();
    link.note("one");
    EXPECT_EQ(link.publish().publishedCount, 1u);
    link.world.time.advance(60);
    EXPECT_EQ(publishCount(), 1u);
}

TEST_F(PhoneLinkTest, ARunTakesTheEditsInFirstAndIsNotRepeatedForThem) {
    start();
    const CrumbItem item = link.note("old title");
    const Uuid request = link.ask(item, {{"title", "new title"}});
    link.publish();
    EXPECT_EQ(link.result(request), "applied");
    EXPECT_EQ(link.indexTitles(), Strings{"new title"});
    link.world.time.advance(60);
    EXPECT_EQ(publishCount(), 1u) << "the index holds the edit already";
}

TEST_F(PhoneLinkTest, ItIsSilentWithoutAPhoneAndAwakeWhenOneIsPaired) {
    link.unpair();
    start();
    const auto before = link.everything();
    link.note("one");
    link.world.time.advance(600);
    EXPECT_EQ(link.everything(), before);
    EXPECT_TRUE(seen.empty());
    EXPECT_TRUE(link.world.log.lines.empty()) << link.world.log.lines.front();
    link.pair(std::string(32, 'n'));
    link.note("two");
    link.world.time.advance(4);
    EXPECT_EQ(link.index().size(), 2u);
    link.unpair();
    link.note("three");
    link.world.time.advance(60);
    EXPECT_EQ(link.index().size(), 2u);
}

TEST_F(PhoneLinkTest, NothingIsWrittenThroughALinkOnTheDrive) {
    link.connect();
    const Path own = link.world.folder / "own";
    std::filesystem::create_directory(own);
    for (const Path& place : {link.memories(), link.edits(), link.shared}) {
        std::filesystem::remove_all(place);
        std::filesystem::create_directories(place.parent_path());
        std::filesystem::create_directory_symlink(own, place);
        EXPECT_THROW(link.publish(), Error) << place;
        EXPECT_TRUE(std::filesystem::is_empty(own)) << place;
        std::filesystem::remove(place);
    }
}

TEST_F(PhoneLinkTest, ADriveThatComesLateIsToldOfOnceAndThenUsed) {
    start();
    link.world.cloud.available = false;
    const CrumbItem item = link.note("one");
    link.world.time.advance(600);
    const std::string words = PairingError(PairingFailure::iCloudUnavailable).description();
    EXPECT_EQ(logCount("NOOKERY: automatic iPhone memory sync deferred: " + words), 1u);
    EXPECT_EQ(logCount("NOOKERY: mobile edit receiver will retry: " + words), 1u);
    EXPECT_EQ(link.world.log.problems.size(), 2u);
    link.connect();
    const Uuid request = link.ask(item, {{"title", "new"}});
    link.world.time.advance(12);
    EXPECT_EQ(link.result(request), "applied");
    EXPECT_TRUE(link.world.log.problems.empty());
    link.world.time.advance(3);
    EXPECT_EQ(link.indexTitles(), Strings{"new"});
}

TEST_F(PhoneLinkTest, TheRecordsTellWhatWasDoneNewestFirst) {
    const CrumbItem item = link.note("one");
    link.ask(item, {{"title", "new"}});
    link.publish();
    link.world.cloud.available = false;
    EXPECT_THROW(link.receive(), PairingError);
    EXPECT_THROW(link.receive(), PairingError);
    link.world.time.settle();
    auto records = LinkRecords::openForReading(link.world.files, link.world.layout().linkRecords());
    ASSERT_TRUE(records);
    Strings kinds;
    for (const LinkEvent& event : records->events(10)) kinds.push_back(event.kind);
    EXPECT_EQ(kinds, (Strings{"failed", "published", "edits"}));
    EXPECT_EQ(records->lastEvent("edits")->text, "1 applied, 0 in conflict, 0 missing, 0 skipped");
}

TEST_F(PhoneLinkTest, ARunThatFailsSaysWhyAndWhatItDidBefore) {
    const CrumbItem item = link.note("one");
    const Uuid request = link.ask(item, {{"title", "new"}});
    // The edit is saved, then answered on the link's queue; the drive goes right after that.
    auto& queue = link.world.linkQueue;
    const auto saved = link.store->items().subscribe([&](const auto&) {
        queue.async([&] { queue.async([&] { link.world.cloud.available = false; }); });
    });
    const auto operation = link.link->publish();
    EXPECT_THROW(link.world.resultOf(operation), PairingError);
    EXPECT_EQ(operation->failure()->message,
              PairingError(PairingFailure::iCloudUnavailable).description());
    EXPECT_EQ(link.link->lastRun()->edits.appliedCount, 1u);
    EXPECT_EQ(link.link->lastRun()->publish.publishedCount, 0u);
    EXPECT_EQ(link.result(request), "applied");
    EXPECT_TRUE(link.link->isIdle());
}

TEST_F(PhoneLinkTest, RunsThatAreGivenUpEndAsStoppedAndLeaveAWholeIndex) {
    link.picture("one", "pixels");
    link.publish();
    link.picture("two", "more pixels");
    const auto underWay = link.link->publish();
    const auto waiting = link.link->receive();
    link.link.reset();
    link.world.time.advance(60);
    EXPECT_THROW(link.world.resultOf(underWay), Cancelled);
    EXPECT_THROW(link.world.resultOf(waiting), Cancelled);
    EXPECT_EQ(link.index().size(), 1u);
}

TEST_F(PhoneLinkTest, StoppingLeavesNoSavedEditWithoutItsReceipt) {
    std::vector<Uuid> requests;
    for (int i = 0; i < 100; ++i)
        requests.push_back(link.ask(link.note("old"), {{"title", "new"}}));
    // Stops in the middle of the run, when the first edits are saved and not answered yet.
    const auto saved = link.store->items().subscribe([&](const auto&) { link.link->stop(); });
    EXPECT_THROW(link.receive(), Cancelled);
    EXPECT_TRUE(link.link->isIdle());
    const auto answered = std::ranges::count_if(
        requests, [&](const Uuid& request) { return link.result(request) == "applied"; });
    const auto changed = std::ranges::count_if(
        *link.store->items(), [](const auto& item) { return item->title == "new"; });
    EXPECT_EQ(answered, changed);
    EXPECT_GT(answered, 0);
    EXPECT_LT(answered, 100);
}

TEST_F(PhoneLinkTest, RemovingAMemoryRemovesItsSecureValueAndNoDevelopersOne) {
    const std::string service = "com.kestrelhq.Crumb.secure";
    const Uuid id = link.note("gone").id;
    auto& keyStore = link.world.keyStore;
    for (const std::string suffix : {"", ".development"}) {
        keyStore.write(service + suffix, id.toString(), "4111 1111");
    }
    link.remove(id);
    EXPECT_FALSE(keyStore.read(service, id.toString()));
    EXPECT_TRUE(keyStore.read(service + ".development", id.toString()));

    Platform development = link.world.platform();
    development.applicationIdentifier = developmentApplicationIdentifier;
    removeSecureValues({id}, true, development);
    EXPECT_FALSE(keyStore.read(service + ".development", id.toString()));
}

}  // namespace
}  // namespace nookery
