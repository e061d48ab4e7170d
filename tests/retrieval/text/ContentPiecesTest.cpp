#include "retrieval/text/ContentPieces.h"

#include <gtest/gtest.h>

#include "retrieval/RetrievalEngine.h"

namespace nookery {
namespace {

const ContentPieces enriched{.captured = "taken in\nwith lines\n",
                             .document = "",
                             .recognised = "STOP\nAhead",
                             .description = "Album",
                             .facts = "640 x 480 pixels",
                             .isEnriched = true};

TEST(ContentPieces, ComeBackAsTheyWereStored) {
    const ContentPieces bare{.captured = "only taken in"};
    const ContentPieces empty{.isEnriched = true};
    for (const ContentPieces& pieces : {enriched, bare, empty, ContentPieces{}}) {
        const std::string stored = toSearchableText(pieces);
        EXPECT_EQ(parseContentPieces(stored), pieces) << stored;
        EXPECT_EQ(isEnriched(stored), pieces.isEnriched) << stored;
    }
}

TEST(ContentPieces, MarkersThatAnOriginalHoldsMakeNoPieces) {
    const ContentPieces forged{
        .captured = "mentions __crumb_facts__ in a line",
        .recognised = "seen\n__crumb_facts__\nforged\n__crumb_secure__\nmobile-note-id:7 end",
        .isEnriched = true};
    const ContentPieces read = parseContentPieces(toSearchableText(forged));
    EXPECT_EQ(read.captured, forged.captured);
    EXPECT_EQ(read.recognised, "seen\n\nforged\n\n end");
    EXPECT_EQ(read.facts, "");
    EXPECT_FALSE(isEnriched(forged.captured));
}

TEST(ContentPieces, WhatWasSeenIsFoundAndShownWithoutMarkers) {
    CrumbItem image;
    image.id = Uuid::random();
    image.kind = CrumbKind::image;
    image.title = "IMG_1";
    image.searchableText = toSearchableText(enriched);
    RetrievalEngine engine;
    engine.put(std::make_shared<const CrumbItem>(image), {});
    const auto found = engine.search("ahead", 10);
    ASSERT_EQ(found.rankedIDs.size(), 1U);
    EXPECT_EQ(found.hints.at(image.id), "Found in image");
    const auto excerpt = [&](const LexicalSnapshot& snapshot) {
        return withMarks(RetrievalEngine::excerpt(image, excerptTermsOf(snapshot)), "[", "]");
    };
    EXPECT_EQ(excerpt(found), "STOP [Ahead]");
    for (const char* marker : {"crumb", "recognised", "facts", "description"}) {
        EXPECT_TRUE(engine.search(marker, 10).rankedIDs.empty()) << marker;
    }
    // A fact is found, below what was seen, and is shown.
    EXPECT_LT(engine.search("pixels", 10).scores.at(image.id), found.scores.at(image.id));
    EXPECT_EQ(excerpt(engine.search("480", 10)), "640 x [480] pixels");
    EXPECT_EQ(joinedPieces(image.searchableText),
              "taken in\nwith lines\n\nSTOP\nAhead\nAlbum\n640 x 480 pixels");
    EXPECT_EQ(joinedPieces("mobile-note-id:7"), "mobile-note-id:7");
    EXPECT_EQ(readableContents(image.searchableText), "taken in\nwith lines\n\nSTOP\nAhead\nAlbum");
}

}  // namespace
}  // namespace nookery
