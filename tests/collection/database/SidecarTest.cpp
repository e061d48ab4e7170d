#include "collection/database/Sidecar.h"

#include <gtest/gtest.h>

#include "collection/database/RecognisedPages.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

using testing::TestPlatform;

OriginalFact makeFact(const Path& path, std::uint8_t digestByte) {
    OriginalFact fact{path, Uuid::random(), {}, 5'000'000'000, -1};
    fact.digest.bytes.fill(digestByte);
    return fact;
}

class SidecarTest : public ::testing::Test {
  protected:
    Sidecar open() { return Sidecar::open(*world_.realFiles, world_.layout()); }

    TestPlatform world_;
};

TEST_F(SidecarTest, FactsAboutOriginalsAreKeptUnderAnyNameUntilForgotten) {
    OriginalFact first = makeFact(Path("Items/caf\xE9\n"), 1);
    const OriginalFact twin = makeFact("Items/twin", 1);
    const OriginalFact other = makeFact("Items/other", 2);
    {
        auto sidecar = open();
        sidecar.recordOriginals(std::vector{first, twin, other});
        first.byteCount = 7;
        sidecar.recordOriginals(std::vector{first});
    }
    auto sidecar = open();
    EXPECT_EQ(sidecar.original(first.relativePath), first);
    EXPECT_EQ(sidecar.originalsWithDigest(twin.digest), (std::vector{first, twin}));
    sidecar.forgetOriginals(std::vector{twin.relativePath, Path("Items/never")});
    EXPECT_EQ(sidecar.originals(), (std::vector{first, other}));
    const std::vector<Path> pending{Path("Items/a\xFF"), Path("Items/b")};
    sidecar.addPendingOriginals(pending);
    sidecar.addPendingOriginals(std::vector{pending[0]});
    EXPECT_EQ(sidecar.pendingOriginals(), pending);
    sidecar.removePendingOriginals(std::vector{pending[0]});
    EXPECT_EQ(sidecar.pendingOriginals(), std::vector{pending[1]});
}

TEST_F(SidecarTest, WordsOfPagesComeBackWhereTheyStoodAndDamageIsSaid) {
    auto sidecar = open();
    const Uuid id = Uuid::random();
    RecognisedPage page{3, {{{"Straße", {0, 0.25, 1, 0.125}}, {"12,50", {0.9, 0, 0.1, 1}}}, {}}};
    page.lines.push_back({{std::string(300, 'x'), {}}});
    EncodedPage encoded = encode(page);
    RecognisedPages(sidecar).replace(id, std::vector{encoded, EncodedPage{7, ""}});
    const auto pages = RecognisedPages::load(world_.layout(), id);
    ASSERT_EQ(pages.size(), 2U);
    EXPECT_EQ(pages[1].page, 7);
    EXPECT_EQ(pages[0].page, 3);
    ASSERT_EQ(pages[0].lines.size(), 3U);
    for (std::size_t line = 0; line < page.lines.size(); ++line) {
        ASSERT_EQ(pages[0].lines[line].size(), page.lines[line].size());
        for (std::size_t word = 0; word < page.lines[line].size(); ++word) {
            EXPECT_EQ(pages[0].lines[line][word].text, page.lines[line][word].text);
            EXPECT_NEAR(pages[0].lines[line][word].box.x, page.lines[line][word].box.x, 1e-5);
            EXPECT_NEAR(pages[0].lines[line][word].box.height, page.lines[line][word].box.height,
                        1e-5);
        }
    }
    int refused = 0;
    for (std::size_t length = 1; length < encoded.content.size(); ++length) {
        try {
            decode({0, encoded.content.substr(0, length)});
        } catch (const DatabaseError&) {
            ++refused;
        }
    }
    // Cut between two lines, and nowhere else, it is whole.
    EXPECT_EQ(refused, static_cast<int>(encoded.content.size()) - 1 - 2);
    EXPECT_THROW(decode({0, "\xFF\xFF\xFF\xFF\xFF\xFF"}), DatabaseError);
    sidecar.forgetMemories(std::vector{id});
    EXPECT_TRUE(RecognisedPages::load(world_.layout(), id).empty());
}

TEST_F(SidecarTest, WorkWaitsInOrderAndRemembersItsFailures) {
    auto sidecar = open();
    const std::vector<Uuid> ids{Uuid::random(), Uuid::random(), Uuid::random()};
    sidecar.addWork(ids, "embed");
    sidecar.addWork(std::vector{ids[1]}, "thumbnail");
    sidecar.recordWorkBegun(std::vector{ids[1]}, "embed");
    EXPECT_EQ(sidecar.pendingWork("embed")[1].lastFailure,
              "NOOKERY ended while it worked on this.");
    sidecar.recordWorkFailure(ids[1], "embed", "no model");
    sidecar.recordWorkBegun(std::vector{ids[1]}, "embed");
    sidecar.recordWorkFailure(ids[1], "embed", "still none");
    sidecar.recordWorkBegun(std::vector{ids[2]}, "embed");
    sidecar.takeWorkBack(std::vector{ids[2]}, "embed");
    sidecar.addWork(ids, "embed");
    sidecar.finishWork(std::vector{ids[0]}, "embed");
    EXPECT_EQ(
        sidecar.pendingWork("embed"),
        (std::vector<PendingWork>{{ids[1], "embed", 2, "still none"}, {ids[2], "embed", 0, {}}}));
    sidecar.forgetMemories(std::vector{ids[1]});
    EXPECT_EQ(sidecar.pendingWork(), (std::vector<PendingWork>{{ids[2], "embed", 0, {}}}));
    EXPECT_EQ(sidecar.state("key"), std::nullopt);
    sidecar.setState("key", std::string_view("a\0b", 3));
    EXPECT_EQ(sidecar.state("key"), std::string("a\0b", 3));
    sidecar.setState("key", "");
    EXPECT_EQ(sidecar.state("key"), "");
    sidecar.removeState("key");
    EXPECT_EQ(sidecar.state("key"), std::nullopt);
}

TEST_F(SidecarTest, AFileOfTheFirstFormatIsUpgradedInPlaceAndTakesSteps) {
    const OriginalFact fact = makeFact("Items/a", 1);
    open().recordOriginals(std::vector{fact});
    {
        auto file =
            SqliteConnection::open(world_.layout().sidecar(), SqliteAccess::readWriteCreate);
        for (const char* table : {"problems", "steps", "step_contents", "recognised_pages"}) {
            file.execute(std::string("DROP TABLE ") + table + ";");
        }
        file.execute("PRAGMA user_version=1;");
    }
    auto sidecar = open();
    EXPECT_EQ(sidecar.originals(), std::vector{fact});
    auto steps = sidecar.steps();
    const std::vector<std::byte> bytes(10);
    const std::int64_t number = steps.add({.name = "Edit", .at = Timestamp{5}}, bytes);
    steps.addContents(number, 1, bytes);
    steps.addContents(number, 2, bytes);
    EXPECT_EQ(steps.summaries().at(0).byteCount, 30);
    EXPECT_TRUE(steps.removeFirstPart(number, 1));
    EXPECT_FALSE(steps.removeFirstPart(number, 1));
    steps.update({.number = number, .state = StepState::done, .name = "Edited", .at = {}}, {});
    EXPECT_EQ(steps.summaries().at(0).byteCount, 10);
    steps.remove(std::vector{number});
    EXPECT_EQ(steps.leftContents(), std::vector{number});
    EXPECT_TRUE(steps.removeFirstPart(number, 2));
    EXPECT_TRUE(steps.leftContents().empty());
    EXPECT_NE(steps.add({.name = "Next", .at = {}}, bytes), number);
}

TEST_F(SidecarTest, AFileOfANewerProgramIsRefusedAndLeftAlone) {
    open();
    SqliteConnection::open(world_.layout().sidecar(), SqliteAccess::readWriteCreate)
        .execute("PRAGMA user_version=99;");
    EXPECT_THROW(open(), DatabaseError);
    EXPECT_THROW(Sidecar::openForReading(world_.layout().sidecar()), DatabaseError);
}

}  // namespace
}  // namespace nookery
