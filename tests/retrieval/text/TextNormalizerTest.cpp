#include "retrieval/text/TextNormalizer.h"

#include <gtest/gtest.h>
#include <re2/re2.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <random>

#include "foundation/Text.h"

namespace nookery {
namespace {

/// Each step of the normal form on the whole text, by the Unicode library's own text functions.
std::string literalNormalForm(const std::string& text) {
    UErrorCode status = U_ZERO_ERROR;
    auto folded = icu::UnicodeString::fromUTF8(text).toLower(icu::Locale::getRoot());
    folded = icu::Normalizer2::getNFDInstance(status)->normalize(folded, status);
    icu::UnicodeString plain;
    for (std::int32_t i = 0; i < folded.length(); i = folded.moveIndex32(i, 1)) {
        UChar32 letter = folded.char32At(i);
        if (letter >= 0xFF01 && letter <= 0xFF5E) letter -= 0xFF01 - 0x21;
        if (letter == 0x3000) letter = ' ';
        if (u_charType(letter) != U_NON_SPACING_MARK) plain.append(letter);
    }
    std::string result;
    for (std::int32_t i = 0; i < plain.length(); i = plain.moveIndex32(i, 1)) {
        const UChar32 letter = plain.char32At(i);
        if (isWhiteSpace(static_cast<char32_t>(letter))) {
            result += ' ';
        } else {
            appendUtf8(result, static_cast<char32_t>(letter));
        }
    }
    static const RE2 address("https?://[^ ]+");
    static const RE2 others("[^a-z0-9#]+");
    static const RE2 spaces(" +");
    RE2::GlobalReplace(&result, address, " ");
    RE2::GlobalReplace(&result, others, " ");
    RE2::GlobalReplace(&result, spaces, " ");
    return std::string(trimmed(result));
}

TEST(TextNormalizer, NormalFormFoldsCaseDiacriticsAndWidthAndLeavesOutAddresses) {
    EXPECT_EQ(normalForm("Café"), "cafe");
    EXPECT_EQ(normalForm("CAFE\u0301  crème-brûlée"), "cafe creme brulee");
    EXPECT_EQ(normalForm("Ｆｕｌｌ　Ｗｉｄｔｈ２"), "full width2");
    EXPECT_EQ(normalForm("I like C# and #tags."), "i like c# and #tags");
    EXPECT_EQ(normalForm("https://example.com/a?b=c#d"), "");
    EXPECT_EQ(normalForm("see HTTP://x.y/z, then"), "see then");
    EXPECT_EQ(normalForm("http:// is no address"), "http is no address");
    EXPECT_EQ(normalForm("xhttps://a b"), "x b");
    EXPECT_EQ(normalForm("Привет 東京 שלום"), "");
    EXPECT_EQ(normalForm("Straße"), "stra e");
}

TEST(TextNormalizer, NormalFormEqualsItsStepsOnAnyText) {
    const std::vector<std::string> pieces{
        "a",  "B", "Z9", "#",  " ",  "\n", "\u00A0", "\u3000",   "é",        "E\u0301", "Å",
        "İ",  "ß", "ﬁ",  "Ａ", "：", "／", "ｈttp",  "http",     "https",    ":",       "/",
        "//", "х", "京", "क",  "ि",  "ʰ",  "½",      "²",        "K",        "\u200D",  "\u00AD",
        "_",  "-", "😀", "𝐀",  "Ǆ",  "ά",  "ς",      "https://", "http://a", "\u2028",  "ộ"};
    std::mt19937 random(11);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (std::size_t i = random() % 12; i > 0; --i) text += pieces[random() % pieces.size()];
        ASSERT_EQ(normalForm(text), literalNormalForm(text)) << text;
        ASSERT_EQ(tracedNormalForm(text).text, normalForm(text)) << text;
        ASSERT_EQ(tracedCombinedForm(text).text, combinedForm(text)) << text;
        ASSERT_EQ(combinedForm(combinedForm(text)), combinedForm(text)) << text;
    }
}

TEST(TextNormalizer, NormalFormAgreesForEveryCodePoint) {
    for (char32_t codePoint = 1; codePoint < 0x20000; ++codePoint) {
        if (codePoint >= 0xD800 && codePoint < 0xE000) continue;
        // Half-width kana fold to other kana, which leaves nothing either way.
        if (codePoint >= 0xFF61 && codePoint <= 0xFFDC) continue;
        std::string text = "a";
        appendUtf8(text, codePoint);
        text += "b";
        ASSERT_EQ(normalForm(text), literalNormalForm(text)) << std::hex << +codePoint;
    }
}

TEST(TextNormalizer, CombinedFormKeepsAllScripts) {
    EXPECT_EQ(combinedForm("Привет, МИР"), "привет мир");
    EXPECT_EQ(combinedForm("Straße Ærø ﬁlm Łódź"), "strasse aero film lodz");
    EXPECT_EQ(combinedForm("Άλφα ΣΟΦΟΣ"), combinedForm("αλφα σοφος"));
    EXPECT_EQ(combinedForm("हिन्दी"), "हिन्दी");
    EXPECT_EQ(combinedForm("שָׁלוֹם"), "שלום");
    EXPECT_EQ(combinedForm("東京tower大阪"), "東京 tower 大阪");
    EXPECT_EQ(combinedForm("ﾄﾖﾀ"), combinedForm("トヨタ"));
    EXPECT_EQ(combinedForm("Plain ASCII-text"), normalForm("Plain ASCII-text"));
}

TEST(TextNormalizer, RunsOfIdeographsAreSingleAndPairedCharacters) {
    const std::vector<std::string_view> expected{"東", "東京", "京", "京都", "都", "a"};
    EXPECT_EQ(tokensOf("東京都 a"), expected);
    EXPECT_TRUE(tokensOf("").empty());
}

TEST(TextNormalizer, TracedFormsPointIntoTheOriginal) {
    const std::string text = "see Cafe\u0301 ＡＢ";
    const TracedForm form = tracedNormalForm(text);
    const std::size_t cafe = form.text.find("cafe");
    ASSERT_NE(cafe, std::string::npos);
    EXPECT_EQ(text.substr(form.starts[cafe], form.ends[cafe + 3] - form.starts[cafe]),
              "Cafe\u0301");
    const std::size_t wide = form.text.find("ab");
    EXPECT_EQ(text.substr(form.starts[wide], form.ends[wide + 1] - form.starts[wide]), "ＡＢ");
}

}  // namespace
}  // namespace nookery
