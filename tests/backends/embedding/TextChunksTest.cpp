#include "backends/embedding/TextChunks.h"

#include <numeric>

#include "EncoderFixture.h"

namespace nookery::testing {
namespace {

using namespace encoder;

TEST(PreparedText, MeetsTheModelHalfWay) {
    const struct {
        std::string_view text;
        std::string_view expected;
    } cases[] = {
        {"", ""},
        {" \t\n ", ""},
        {"  two \t words\u00a0here ", "two words here"},
        {"one\r\n\r\n  two", "one\ntwo"},
        {"CALL MUM NOW", "call mum now"},
        {"Call NASA", "Call NASA"},
        {"\ufb01rst \u2460", "first 1"},
        {std::string_view("bad \xff byte\0!", 12), "bad \ufffd byte!"},
        {"12345", "12345"},
    };
    for (const auto& each : cases) EXPECT_EQ(prepared(each.text), each.expected) << each.text;
    // One letter that becomes eighteen must not make a large text of a small one.
    std::string swelling;
    for (int i = 0; i < 20'000; ++i) swelling += "\ufdfa";
    EXPECT_LE(prepared(swelling).size(), 64u << 10);
}

TEST(PreparedText, IsCutIntoSentences) {
    using Sentences = std::vector<std::string_view>;
    EXPECT_EQ(sentencesOf("One. Two? Three at 3.14 pm\nFour; five"),
              (Sentences{"One.", "Two?", "Three at 3.14 pm", "Four;", "five"}));
    EXPECT_EQ(sentencesOf(""), Sentences{});
    EXPECT_EQ(sentencesOf(". ."), (Sentences{".", "."}));
}

class ChunksTest : public EncoderTest {
  protected:
    static std::vector<std::size_t> sizesOf(const std::string& text) {
        const PieceTokenizer tokenizer(model().pieces);
        std::vector<std::size_t> sizes;
        for (const auto& chunk : chunksOf(prepared(text), tokenizer).chunks) {
            sizes.push_back(chunk.size());
        }
        return sizes;
    }
    static std::string repeated(std::string_view text, std::size_t count) {
        std::string result;
        for (std::size_t i = 0; i < count; ++i) result += text;
        return result;
    }
};

TEST_F(ChunksTest, HoldWholeSentencesWhereTheyCan) {
    using Sizes = std::vector<std::size_t>;
    // "the" is one piece.
    EXPECT_EQ(sizesOf(""), Sizes{});
    EXPECT_EQ(sizesOf(repeated("the ", 20) + "\n" + repeated("the ", 20)), Sizes{40});
    EXPECT_EQ(sizesOf(repeated("the ", 30) + "\n" + repeated("the ", 30)), (Sizes{30, 30}));
    EXPECT_EQ(sizesOf(repeated("the ", 72)), Sizes{72});
    EXPECT_EQ(sizesOf(repeated("the ", 100)), (Sizes{48, 48, 4}));
    EXPECT_EQ(sizesOf(repeated("the ", 100) + "\n" + repeated("the ", 44)), (Sizes{48, 48, 48}));
}

TEST_F(ChunksTest, AreBoundedForAnyText) {
    const auto sizes = sizesOf(repeated("the ", 1'000'000));
    EXPECT_EQ(sizes.size(), 64u);
    EXPECT_EQ(std::accumulate(sizes.begin(), sizes.end(), std::size_t{0}), 64u * 48);
}

TEST_F(ChunksTest, LeaveOutWhatTheModelCannotRead) {
    EXPECT_TRUE(sizesOf("\u65e5\u672c\u8a9e \u4e2d\u6587").empty());
    EXPECT_EQ(sizesOf("milk \U0001F95B"), sizesOf("milk "));
}

}  // namespace
}  // namespace nookery::testing
