#include <gtest/gtest.h>

#include <map>

#include "collection/database/RecognisedPages.h"
#include "collection/database/Sidecar.h"
#include "collection/enrichment/FactLines.h"
#include "collection/enrichment/Thumbnails.h"
#include "collection/store/CrumbStore.h"
#include "retrieval/text/ContentPieces.h"
#include "support/StoreChanges.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

using testing::TestPlatform;

constexpr std::string_view pngBytes = "\x89PNG\r\n\x1a\n0123456789";

class EnrichmentTest : public ::testing::Test {
  protected:
    CrumbStore& open() {
        store_.reset();
        store_ = std::make_unique<CrumbStore>(world_.platform(), world_.layout(),
                                              LibraryAccess::writing);
        world_.resultOf(store_->open(SessionLength::oneCommand));
        return *store_;
    }
    Uuid capture(const std::string& name, std::string_view content) {
        const auto report = world_.resultOf(
            store_->capture({.sources = {CaptureFile{world_.folder.write(name, content)}}}));
        EXPECT_EQ(report.added.size(), 1U);
        return report.added.at(0);
    }
    void work() {
        store_->enrichment().start();
        world_.time.advance(1);
    }
    ContentPieces piecesOf(const Uuid& id) {
        return parseContentPieces(store_->item(id)->searchableText);
    }
    std::string hintFor(const std::string& text, const Uuid& id) {
        store_->search().setText(text);
        world_.time.settle();
        const auto hint = store_->retrievalHints()->find(id);
        return hint == store_->retrievalHints()->end() ? "" : hint->second;
    }
    std::string thumbnailOf(const Uuid& id) {
        const auto original = world_.files.status(*store_->item(id)->filePath);
        const Path place = thumbnailPath(world_.layout(), id, *original);
        return readWholeFile(world_.files, place, 100);
    }
    void see(const std::string& text) {
        const NormalizedBox box{0.25, 0.5, 0.5, 0.125};
        world_.textRecognizer.lines = {{.text = text, .box = {}, .words = {{text, box}}}};
    }
    /// The words that can be marked on the first page that has some.
    std::string markableText(const Uuid& id) {
        const auto pages = RecognisedPages::load(world_.layout(), id);
        return pages.empty() ? "" : pages.at(0).lines.at(0).at(0).text;
    }

    TestPlatform world_;
    std::unique_ptr<CrumbStore> store_;
};

TEST_F(EnrichmentTest, AnImageIsFoundByWhatItShowsAndReadingAgainReplaces) {
    open();
    see("No parking");
    const Uuid id = capture("IMG_1.png", pngBytes);
    EXPECT_EQ(*store_->indexingCount(), 1) << "capture does not wait for the reading";
    EXPECT_EQ(hintFor("parking", id), "");
    work();
    EXPECT_EQ(*store_->indexingCount(), 0);
    EXPECT_EQ(hintFor("parking", id), "Found in image");
    EXPECT_EQ(piecesOf(id).facts, "6 x 1 pixels");
    EXPECT_EQ(thumbnailOf(id), "6 x 1");
    EXPECT_EQ(markableText(id), "No parking");

    see("Exit only");
    store_->enrichment().request({id});
    work();
    EXPECT_EQ(piecesOf(id).recognised, "Exit only");
    EXPECT_EQ(markableText(id), "Exit only");
    EXPECT_EQ(hintFor("parking", id), "");
    open();
    EXPECT_EQ(*store_->indexingCount(), 0) << "what was read is read once";
    EXPECT_EQ(hintFor("exit", id), "Found in image");
    EXPECT_EQ(world_.folder.read("IMG_1.png"), pngBytes);
}

TEST_F(EnrichmentTest, OnlyPagesWithoutTextAreRecognised) {
    open();
    see("Rent agreement");
    world_.pages.withoutText = {0};
    const Uuid scan = capture("scan.pdf", "%PDF-1.7 scanned");
    work();
    EXPECT_EQ(piecesOf(scan).recognised, "Rent agreement");
    EXPECT_EQ(piecesOf(scan).facts, "1 page");
    EXPECT_EQ(markableText(scan), "Rent agreement");
    EXPECT_EQ(hintFor("rent", scan), "Found in contents");
    world_.pages.withoutText = {};
    store_->enrichment().request({scan});
    work();
    EXPECT_EQ(piecesOf(scan).recognised, "");
    EXPECT_EQ(markableText(scan), "");
}

TEST_F(EnrichmentTest, AFilmIsFoundByWhatItSaysOfItself) {
    open();
    world_.media.saidFacts = {.durationSeconds = 3723,
                              .videoCodec = "h264",
                              .audioCodec = "aac",
                              .width = 1920,
                              .height = 1080,
                              .recorded = "2024-07-03",
                              .place = "",
                              .descriptions = {"Baptism of Ada"}};
    world_.media.shownCover = {640, 2, std::vector<std::uint8_t>(3 * 640 * 2)};
    const Uuid film = capture("clip.mp4", "film");
    work();
    EXPECT_EQ(hintFor("baptism", film), "Found in contents");
    EXPECT_EQ(piecesOf(film).facts,
              "Duration 1:02:03\nVideo h264, 1920 x 1080 pixels\nSound aac\nRecorded 2024-07-03");
    EXPECT_EQ(thumbnailOf(film), "320 x 1");
}

TEST_F(EnrichmentTest, AFailureIsRememberedAndNotRetriedForEver) {
    open();
    const Uuid id = capture("bad.png", std::string(pngBytes) + "damaged");
    for (int run = 1; run <= 3; ++run) {
        EXPECT_EQ(*store_->indexingCount(), 1) << run;
        work();
        EXPECT_EQ(*store_->indexingCount(), 0) << "not again in the same session";
        ASSERT_EQ(store_->enrichment().failures().size(), 1U);
        EXPECT_EQ(store_->enrichment().failures()[0].message, "The picture is damaged.");
        EXPECT_EQ(store_->enrichment().failures()[0].isGivenUp, run == 3);
        open();
    }
    EXPECT_EQ(*store_->indexingCount(), 0);
    store_->enrichment().request({id});
    EXPECT_EQ(*store_->indexingCount(), 1);
}

TEST_F(EnrichmentTest, WhatEndsTheProgramIsNotReadForEver) {
    open();
    const Uuid id = capture("IMG_1.png", pngBytes);
    for (int run = 0; run < 3; ++run) {
        open();
        EXPECT_EQ(*store_->indexingCount(), 1);
        auto sidecar = Sidecar::open(world_.files, world_.layout());
        sidecar.recordWorkBegun(std::vector{id}, "contents");  // and then the process was killed
    }
    open();
    EXPECT_EQ(*store_->indexingCount(), 0);
    EXPECT_TRUE(store_->enrichment().failures().at(0).isGivenUp);
}

TEST_F(EnrichmentTest, WhatWasReadWhenTheProgramEndedIsReadLastAndAlone) {
    open();
    const std::string bytes(pngBytes);
    const std::vector suspects{capture("1.png", bytes + "1"), capture("2.png", bytes + "2")};
    const Uuid other = capture("3.png", bytes + "3");
    Sidecar::open(world_.files, world_.layout()).recordWorkBegun(suspects, "contents");
    const auto attempts = [&] {
        std::map<Uuid, int> counted;
        auto sidecar = Sidecar::openForReading(world_.layout().sidecar());
        for (const auto& work : sidecar.pendingWork("contents")) {
            counted[work.memoryID] = work.attempts;
        }
        return counted;
    };
    open().enrichment().start();
    EXPECT_EQ(attempts(), (std::map<Uuid, int>{{suspects[0], 1}, {suspects[1], 1}, {other, 1}}));
    store_->enrichment().pause();
    world_.time.settle();
    store_->remover().deleteMemories({other});
    world_.time.advance(5);
    open().enrichment().start();
    EXPECT_EQ(attempts()[suspects[0]] + attempts()[suspects[1]], 3);
    world_.time.advance(5);
    EXPECT_TRUE(attempts().empty());
    EXPECT_TRUE(isEnriched(store_->item(suspects[1])->searchableText));
}

TEST_F(EnrichmentTest, WorkGivenUpHalfWayWaitsAndCountsAsNoAttempt) {
    open();
    const Uuid id = capture("IMG_1.png", pngBytes);
    see("late");
    for (int i = 0; i < 5; ++i) {
        store_->enrichment().start();
        store_->enrichment().pause();
        world_.time.settle();
        EXPECT_EQ(*store_->indexingCount(), 1);
        store_->enrichment().start();
        open();  // while the work is under way
        EXPECT_EQ(*store_->indexingCount(), 1) << i;
    }
    work();
    EXPECT_EQ(piecesOf(id).recognised, "late");
    EXPECT_TRUE(store_->enrichment().failures().empty());
}

TEST_F(EnrichmentTest, AnEditMeanwhileIsKeptAndTheMeaningIsOfTheNewText) {
    world_.embedder = &world_.fakeEmbedder;
    open();
    see("our puppy sleeps");
    const Uuid id = capture("IMG_1.png", pngBytes);
    store_->enrichment().start();
    CrumbItem edited = *store_->item(id);
    edited.title = "our plant grows";
    edited.searchableText = "words that were added";
    EXPECT_FALSE(testing::change(*store_, edited));
    world_.time.advance(1);
    EXPECT_EQ(store_->item(id)->title, "our plant grows");
    EXPECT_EQ(piecesOf(id).captured, "words that were added");
    EXPECT_EQ(piecesOf(id).recognised, "our puppy sleeps");
    EXPECT_EQ(*store_->indexingCount(), 0);
    EXPECT_NE(hintFor("dog", id), "") << "the vector holds what was seen";
    EXPECT_NE(hintFor("garden", id), "") << "and the new title";
}

TEST_F(EnrichmentTest, WhatIsKeptSecretIsNotReadOutOfItsOriginal) {
    open();
    see("4111 1111 1111 1111");
    CrumbItem card;
    card.id = Uuid::random();
    card.title = "Card";
    card.kind = CrumbKind::image;
    card.filePath = world_.folder.write("card.png", pngBytes);
    card.searchableText = "__crumb_secure_credit_card__";
    store_->addRecords({std::make_shared<const CrumbItem>(card)}, {},
                       [](const SaveFailure& failure) { EXPECT_FALSE(failure); });
    store_->enrichment().request({card.id});
    work();
    EXPECT_EQ(store_->item(card.id)->searchableText, card.searchableText);
    EXPECT_FALSE(world_.files.status(world_.layout().thumbnails()));
}

TEST_F(EnrichmentTest, WhatBecomesSecretWhileItIsReadKeepsItsWordsToItself) {
    open();
    see("4111 1111 1111 1111");
    const Uuid id = capture("card.png", pngBytes);
    store_->enrichment().start();
    CrumbItem card = *store_->item(id);
    card.searchableText = "__crumb_secure_credit_card__";
    EXPECT_FALSE(testing::change(*store_, card));
    world_.time.advance(1);
    EXPECT_EQ(store_->item(id)->searchableText, card.searchableText);
    EXPECT_EQ(markableText(id), "");
    EXPECT_EQ(world_.folder.filesBelow("cache/Thumbnails"), std::vector<std::string>());

    const Uuid other = capture("other.png", std::string(pngBytes) + "other");
    work();
    EXPECT_NE(markableText(other), "");
    card = *store_->item(other);
    markSecure(card);
    EXPECT_FALSE(testing::change(*store_, card));
    world_.time.settle();
    EXPECT_EQ(markableText(other), "") << "it became secret afterwards";
    EXPECT_EQ(world_.folder.filesBelow("cache/Thumbnails"), std::vector<std::string>());
}

TEST_F(EnrichmentTest, WhatCouldNotBeSavedIsToldAndReadAgain) {
    open();
    see("late");
    const Uuid id = capture("IMG_1.png", pngBytes);
    {
        auto database =
            SqliteConnection::open(world_.layout().database(), SqliteAccess::readWriteCreate);
        database.execute(
            "CREATE TRIGGER full BEFORE UPDATE ON crumbs "
            "BEGIN SELECT RAISE(ABORT, 'disk full'); END;");
        work();
        EXPECT_NE(store_->enrichment().saveFailure().message().find("disk full"),
                  std::string::npos);
        EXPECT_TRUE(store_->enrichment().failures().empty()) << "the original is not to blame";
        database.execute("DROP TRIGGER full;");
    }
    open();
    work();
    EXPECT_FALSE(store_->enrichment().saveFailure());
    EXPECT_EQ(piecesOf(id).recognised, "late");
}

TEST_F(EnrichmentTest, WhatIsUnderWayAfterAPauseStaysNotedUntilItEnds) {
    open();
    capture("IMG_1.png", pngBytes);
    const auto attempts = [&] {
        auto sidecar = Sidecar::openForReading(world_.layout().sidecar());
        return sidecar.pendingWork("contents").at(0).attempts;
    };
    store_->enrichment().start();
    store_->enrichment().pause();
    EXPECT_TRUE(store_->enrichment().isUnderWay());
    EXPECT_EQ(attempts(), 1);
    world_.time.settle();
    EXPECT_FALSE(store_->enrichment().isUnderWay());
    EXPECT_EQ(attempts(), 0);
}

TEST_F(EnrichmentTest, WhoWaitsForWhatWasStartedNeitherEndsItNorStopsIt) {
    Enrichment& enrichment = open().enrichment();
    enrichment.start();
    const Uuid id = capture("IMG_1.png", pngBytes);
    EXPECT_EQ(world_.resultOf(enrichment.workOff()).pendingCount, 0);
    enrichment.request({id});
    const auto stopped = enrichment.workOff();
    stopped->stop();
    EXPECT_EQ(world_.resultOf(stopped).pendingCount, 1) << "only the waiting was ended";
    EXPECT_EQ(*store_->indexingCount(), 0);
    capture("IMG_2.png", std::string(pngBytes) + "more");
    EXPECT_EQ(*store_->indexingCount(), 0) << "it goes on with what comes";
}

TEST_F(EnrichmentTest, AStopOfOneWhoWaitsIsNoStopForTheOthers) {
    Enrichment& enrichment = open().enrichment();
    capture("IMG_0.png", pngBytes);
    const auto stopped = enrichment.workOff();
    const auto other = enrichment.workOff();
    stopped->stop();
    EXPECT_EQ(world_.resultOf(stopped).pendingCount, 1);
    EXPECT_EQ(world_.resultOf(other).doneCount, 1);
    for (const char* name : {"IMG_1.png", "IMG_2.png", "IMG_3.png"}) {
        capture(name, std::string(pngBytes) + name);
    }
    EXPECT_EQ(*store_->indexingCount(), 3) << "nobody waits any more";
    const auto last = {enrichment.workOff(), enrichment.workOff()};
    for (const auto& each : last) each->stop();
    for (const auto& each : last) {
        EXPECT_EQ(world_.resultOf(each).doneCount, 2) << "what was under way ended";
        EXPECT_EQ(world_.resultOf(each).pendingCount, 1);
    }
    EXPECT_FALSE(enrichment.isUnderWay());
}

TEST_F(EnrichmentTest, MemoriesRemovedMeanwhileStayRemoved) {
    world_.embedder = &world_.fakeEmbedder;
    open();
    const Uuid id = capture("IMG_1.png", pngBytes);
    const Uuid other = capture("IMG_2.png", std::string(pngBytes) + "more");
    store_->enrichment().start();
    const auto removal = store_->remover().deleteMemories({id});
    world_.time.advance(5);
    EXPECT_EQ(world_.resultOf(removal).count, 1U);
    EXPECT_EQ(store_->item(id), nullptr);
    EXPECT_TRUE(isEnriched(store_->item(other)->searchableText));
    EXPECT_FALSE(store_->enrichment().saveFailure());
    EXPECT_TRUE(world_.log.lines.empty());
    open();
    EXPECT_EQ(store_->items()->size(), 1U);
    EXPECT_EQ(*store_->indexingCount(), 0);
}

TEST(FactLines, SayWhatIsKnownAndNothingElse) {
    EXPECT_EQ(factLines(ImageFacts{.width = 4032,
                                   .height = 3024,
                                   .camera = "Canon EOS 80D",
                                   .taken = CalendarFields{2024, 7, 3, 14, 5},
                                   .position = GeoPosition{-33.85678, 151.215}}),
              "4032 x 3024 pixels\nCamera Canon EOS 80D\nTaken 2024-07-03 14:05, 3 July 2024\n"
              "Place 33.85678 S 151.21500 E");
    EXPECT_EQ(factLines(ImageFacts{}), "");
    EXPECT_EQ(factLines(MediaFacts{.durationSeconds = 59.6,
                                   .videoCodec = {},
                                   .audioCodec = "mp3",
                                   .recorded = {},
                                   .place = {},
                                   .descriptions = {}}),
              "Duration 1:00\nSound mp3");
}

TEST(Thumbnails, EachPixelIsTheMeanOfThoseItStandsFor) {
    const Picture wide{
        4, 2, {0, 0, 0, 10, 10, 10, 20, 0, 0, 20, 0, 0, 0, 0, 0, 30, 30, 30, 40, 0, 0, 40, 0, 0}};
    const Picture small = scaledDown(wide, 2);
    EXPECT_EQ(small.width, 2);
    EXPECT_EQ(small.height, 1);
    EXPECT_EQ(small.pixels, (std::vector<std::uint8_t>{10, 10, 10, 30, 0, 0}));
    EXPECT_EQ(scaledDown(wide, 4).pixels, wide.pixels);
}

}  // namespace
}  // namespace nookery
