#include <gtest/gtest.h>

#include "retrieval/RetrievalEngine.h"

namespace nookery {
namespace {

/// What a test says of a memory.
struct Draft {
    std::string title{};
    std::string note{};
    std::string contents{};
    std::string filePath{};
    CrumbKind kind = CrumbKind::text;
    std::vector<std::string> manualTags{};
    std::vector<std::string> people{};
};

/// An engine with a few memories, told apart by their titles, newest last; and a hundred others,
/// so that words are rare.
class LexicalRanking : public testing::Test {
  protected:
    LexicalRanking() {
        for (int i = 0; i < 100; ++i) {
            add({.title = "other", .contents = "filler number words"});
        }
    }

    Uuid add(const Draft& draft) {
        CrumbItem item;
        item.id = Uuid::random();
        item.title = draft.title;
        item.note = draft.note;
        item.searchableText = draft.contents;
        item.filePath = draft.filePath;
        item.kind = draft.kind;
        item.createdAt = Timestamp{1000.0 + static_cast<double>(engine_.size())};
        last_ = std::make_shared<const CrumbItem>(item);
        engine_.put(last_, {draft.manualTags, draft.people, ""});
        return item.id;
    }

    std::vector<Uuid> ranked(const std::string& text) { return engine_.search(text, 50).rankedIDs; }
    std::string hint(const std::string& text, const Uuid& id) {
        const LexicalSnapshot snapshot = engine_.search(text, 50);
        return snapshot.hints.contains(id) ? snapshot.hints.at(id) : "no hit";
    }

    /// Of the memory added last.
    std::string excerptFor(const std::string& text) {
        const ExcerptTerms terms = excerptTermsOf(engine_.search(text, 50));
        return withMarks(RetrievalEngine::excerpt(*last_, terms), "[", "]");
    }

    RetrievalEngine engine_;
    CrumbItemPointer last_;
};

std::string repeated(const std::string& word, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += word + " ";
    return text;
}

std::string longText(const std::string& word) { return word + " " + repeated("filler", 2000); }

TEST_F(LexicalRanking, ForOneTermTitleStandsAboveNoteAboveContentsAboveElsewhere) {
    const Uuid elsewhere = add({.title = "e", .filePath = "/a/anchor anchor anchor.txt"});
    const Uuid contents = add({.title = "c", .contents = repeated("anchor", 50)});
    const Uuid contentsOnce = add({.title = "c", .contents = longText("anchor")});
    const Uuid note = add({.title = "n", .note = repeated("anchor", 50)});
    const Uuid noteOnce = add({.title = "n", .note = longText("anchor")});
    const Uuid title = add({.title = "anchor"});
    const Uuid titleOnce = add({.title = longText("anchor")});
    EXPECT_EQ(ranked("anchor"),
              (std::vector{title, titleOnce, note, noteOnce, contents, contentsOnce, elsewhere}));
}

TEST_F(LexicalRanking, ARequestedTagStandsAboveAnyMatchOfWords) {
    const Uuid words = add({.title = "travel boat harbour sea", .note = "travel boat harbour sea"});
    const Uuid tagged = add({.title = "x", .manualTags = {"Travel"}});
    const Uuid hashtag = add({.title = "boat", .note = "#travel"});
    EXPECT_EQ(ranked("#travel boat harbour sea"), (std::vector{hashtag, tagged, words}));
    EXPECT_EQ(ranked("#travel"), (std::vector{hashtag, tagged}));
    EXPECT_EQ(hint("#travel boat", tagged), "Matched #travel");
    EXPECT_TRUE(ranked("#trave").empty());
}

TEST_F(LexicalRanking, APlainWordThatIsATagAddsToItsOtherMatches) {
    const Uuid plain = add({.title = "x", .contents = "seen at sea"});
    const Uuid tagged = add({.title = "x", .contents = "seen at sea", .manualTags = {"sea"}});
    const LexicalSnapshot snapshot = engine_.search("sea", 10);
    EXPECT_EQ(snapshot.plainTagTerms, std::set<std::string>{"sea"});
    EXPECT_EQ(snapshot.rankedIDs, (std::vector{tagged, plain}));
    EXPECT_GE(snapshot.scores.at(tagged), snapshot.scores.at(plain) + 5.5);
    EXPECT_EQ(hint("sea", plain), "Found in contents");
}

TEST_F(LexicalRanking, WholeWordsStandAboveOtherFormsAboveBeginningsAboveParts) {
    const Uuid inside = add({.title = "x", .contents = "lifeconnect"});
    const Uuid beginning = add({.title = "x", .contents = "connectable"});
    const Uuid stem = add({.title = "x", .contents = "connects"});
    const Uuid whole = add({.title = "x", .contents = "connect"});
    EXPECT_EQ(ranked("connect"), (std::vector{whole, stem, beginning, inside}));
}

TEST_F(LexicalRanking, OneWrongWordEmptiesNothingAndACorrectionNeverBeatsTheWordItself) {
    const Uuid boat = add({.title = "boat"});
    const Uuid harbour = add({.title = "x", .contents = "harbour"});
    EXPECT_EQ(ranked("harbour qqqqqq"), std::vector{harbour});
    EXPECT_EQ(ranked("baot"), std::vector{boat});
    EXPECT_EQ(engine_.search("baot", 5).expandedTerms, (std::vector<std::string>{"baot", "boat"}));
    const Uuid exact = add({.title = "x", .contents = "baot"});
    EXPECT_EQ(ranked("baot"), std::vector{exact});
    // Another form of the word scores what other words found, and admits nothing by itself.
    add({.title = "sailed"});
    const Uuid sailing = add({.title = "x", .filePath = "/sailing"});
    EXPECT_EQ(ranked("sailing"), std::vector{sailing});
}

TEST_F(LexicalRanking, AMistypedPrefixAndAMistypedWordInsideOthersAreCorrected) {
    const Uuid photograph = add({.title = "photographs"});
    EXPECT_EQ(ranked("phtogra"), std::vector{photograph});
    const Uuid reaction = add({.title = "x", .contents = "reaction"});
    const Uuid plan = add({.title = "x", .contents = "a plan"});
    const Uuid exact = add({.title = "x", .contents = "an exact plan of it all"});
    EXPECT_EQ(ranked("eact"), std::vector{reaction});
    EXPECT_EQ(ranked("eact plan"), (std::vector{exact, plan, reaction}));
}

TEST_F(LexicalRanking, TheBestCorrectionDoesNotDependOnWhichMemoryCameFirst) {
    for (const char* title : {"coat", "boat", "goat"}) add({.title = title});
    EXPECT_EQ(engine_.search("xoat", 5).correctedText, "boat");
    add({.title = "goat"});
    EXPECT_EQ(engine_.search("xoat", 5).correctedText, "goat");
}

TEST_F(LexicalRanking, ShortTermsMatchWholeTokensOnly) {
    const Uuid token = add({.title = "x", .contents = "uses go and C# daily"});
    add({.title = "golang cargo"});
    EXPECT_EQ(ranked("go"), std::vector{token});
    EXPECT_EQ(ranked("c#"), std::vector{token});
    EXPECT_TRUE(ranked("g").empty());
}

TEST_F(LexicalRanking, AllScriptsAreFoundAndEarnTheWeightOfElsewhere) {
    const Uuid russian = add({.title = "Поездка на море"});
    const Uuid chinese = add({.title = "東京都の地図"});
    const Uuid hindi = add({.title = "x", .note = "हिन्दी किताब"});
    const Uuid german = add({.title = "Große Straße"});
    EXPECT_EQ(ranked("ПОЕЗД"), std::vector{russian});
    EXPECT_EQ(ranked("мор"), std::vector{russian});
    EXPECT_TRUE(ranked("мо").empty());
    for (const char* part : {"東", "京都", "東京都", "の"}) {
        EXPECT_EQ(ranked(part), std::vector{chinese}) << part;
    }
    EXPECT_TRUE(ranked("京東").empty());
    EXPECT_EQ(ranked("हिन्दी"), std::vector{hindi});
    EXPECT_EQ(ranked("strasse"), std::vector{german});
    EXPECT_EQ(ranked("straße"), std::vector{german});
    EXPECT_EQ(hint("море", russian), "Matched title");
    EXPECT_EQ(hint("किताब", hindi), "Matched note");
}

TEST_F(LexicalRanking, TermsOfSeveralTokensMustStandTogether) {
    const Uuid together = add({.title = "x", .contents = "an e-mail from version 3.1.4"});
    add({.title = "x", .contents = "mail e and 1 3 4"});
    EXPECT_EQ(ranked("e-mail"), std::vector{together});
    EXPECT_EQ(ranked("3.1.4"), std::vector{together});
    EXPECT_EQ(ranked("3.1"), std::vector{together});
}

TEST_F(LexicalRanking, HintsNameTheStrongestReason) {
    const Uuid person = add({.title = "x", .contents = "photo", .people = {"anna berg", "Bob"}});
    EXPECT_EQ(hint("anna photo", person), "Contains Anna");
    EXPECT_EQ(hint("berg bob", person), "Contains Berg Bob");
    const Uuid image = add({.title = "x", .contents = "Invoice", .kind = CrumbKind::image});
    EXPECT_EQ(hint("invoice", image), "Found in image");
    const Uuid both = add({.title = "Lease", .note = "lease"});
    EXPECT_EQ(hint("lease", both), "Matched title");
    EXPECT_EQ(hint("lease", add({.title = "x", .note = "the lease"})), "Matched note");
}

TEST_F(LexicalRanking, EqualScoresShowTheNewerFirst) {
    const Uuid older = add({.title = "twin"});
    const Uuid newer = add({.title = "twin"});
    EXPECT_EQ(ranked("twin"), (std::vector{newer, older}));
}

TEST_F(LexicalRanking, ChangesAreSeenAtOnceAndNothingStaleIsFound) {
    const Uuid id = add({.title = "before", .manualTags = {"old"}});
    EXPECT_EQ(ranked("before"), std::vector{id});
    CrumbItem changed = *last_;
    changed.title = "after";
    engine_.put(std::make_shared<const CrumbItem>(changed), {});
    EXPECT_TRUE(ranked("before").empty());
    EXPECT_TRUE(ranked("#old").empty());
    EXPECT_TRUE(engine_.search("old", 5).plainTagTerms.empty());
    EXPECT_EQ(ranked("after"), std::vector{id});
    engine_.remove(id);
    EXPECT_TRUE(ranked("after").empty());
    engine_.clear();
    EXPECT_EQ(engine_.search("filler", 5).totalCount, 0U);
}

TEST_F(LexicalRanking, InternalMarkersAreNeitherFoundNorShown) {
    add({.title = "x", .contents = "mobile-note-id:99 milk __crumb_secure__"});
    for (const char* marker : {"mobile", "99", "crumb", "secure"}) {
        EXPECT_TRUE(ranked(marker).empty()) << marker;
    }
    EXPECT_EQ(excerptFor("milk"), "[milk]");
}

TEST_F(LexicalRanking, ExcerptsMarkMatchesInTheOriginalSpelling) {
    const auto excerpt = [&](const std::string& text, const std::string& query) {
        add({.title = "x", .contents = text});
        return excerptFor(query);
    };
    EXPECT_EQ(excerpt("Ein Café, CAFÉS  und\ncafe\u0301", "cafe"),
              "Ein [Café], [CAFÉ]S und [cafe\u0301]");
    EXPECT_EQ(excerpt("в Москве, МОСКВА", "москв"), "в [Москв]е, [МОСКВ]А");
    EXPECT_EQ(excerpt("我在東京都", "東京"), "我在[東京]都");
    EXPECT_EQ(excerpt("an E-Mail of go, cargo", "e-mail go"), "an [E-Mail] of [go], cargo");
    EXPECT_EQ(excerpt("the Strasse and Straße", "straße"), "the [Strasse] and [Straße]");
    EXPECT_EQ(excerpt("no match here", "zzz"), "no match here");
    EXPECT_EQ(excerpt("", "zzz"), "");
    // No spaces, several code points a character.
    const auto families = [](int count) {
        std::string text;
        while (count-- > 0) text += "👩‍👩‍👧";
        return text;
    };
    EXPECT_EQ(excerpt(families(20) + " trip " + families(20), "trip"),
              "…" + families(3) + " [trip] " + families(5) + "…");
    const std::string far =
        repeated("filler", 5000) + "a zebra met an okapi " + repeated("end", 90);
    const std::string passage = excerpt(far, "okapi zebra");
    EXPECT_NE(passage.find("a [zebra] met an [okapi] end"), std::string::npos) << passage;
    EXPECT_LT(passage.size(), 200U);
}

TEST_F(LexicalRanking, ExplainNamesWhatEveryStageFound) {
    add({.title = "boats"});
    const std::string text = engine_.explain("boat #sea");
    for (const char* part :
         {"Term      boat", "#sea: no memory", "same stem", "Hits      1", "Matched title"}) {
        EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
    }
}

}  // namespace
}  // namespace nookery
