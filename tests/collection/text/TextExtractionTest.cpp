#include "collection/text/TextExtraction.h"

#include <gtest/gtest.h>
#include <unicode/regex.h>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <random>

#include "foundation/Text.h"

namespace nookery {
namespace {

const icu::RegexPattern& compiled(const std::string& pattern) {
    static std::map<std::string, std::unique_ptr<icu::RegexPattern>> patterns;
    auto& known = patterns[pattern];
    if (!known) {
        UErrorCode status = U_ZERO_ERROR;
        UParseError place;
        known.reset(icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern),
                                               UREGEX_CASE_INSENSITIVE, place, status));
    }
    return *known;
}

/// The slow way: one regular expression after the other, as the rules are put in words.
std::string replaceAll(const std::string& text, const std::string& pattern,
                       const char* replacement) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString subject = icu::UnicodeString::fromUTF8(text);
    const std::unique_ptr<icu::RegexMatcher> matcher(compiled(pattern).matcher(subject, status));
    std::string result;
    matcher->replaceAll(icu::UnicodeString::fromUTF8(replacement), status).toUTF8String(result);
    EXPECT_TRUE(U_SUCCESS(status)) << pattern;
    return result;
}

std::string slowEntities(std::string text) {
    for (const auto& [entity, character] :
         std::initializer_list<std::pair<std::string, char>>{{"&nbsp;", ' '},
                                                             {"&amp;", '&'},
                                                             {"&lt;", '<'},
                                                             {"&gt;", '>'},
                                                             {"&quot;", '"'},
                                                             {"&#39;", '\''}}) {
        for (std::size_t at = 0; (at = text.find(entity, at)) != std::string::npos; ++at) {
            text.replace(at, entity.size(), 1, character);
        }
    }
    return text;
}

std::string slowPlainText(std::string text) {
    for (const char* name : {"script", "style", "noscript"}) {
        const std::string element(name);
        text = replaceAll(text, "<" + element + "\\b[^>]*>[\\s\\S]*?</" + element + ">", " ");
    }
    text = replaceAll(text, "<br\\s*/?>", "\n");
    text = replaceAll(text, "</?(p|div|section|article|header|footer|li|h[1-6]|tr)[^>]*>", "\n");
    text = slowEntities(replaceAll(text, "<[^>]+>", " "));
    std::string joined;
    for (const auto line : splitLines(text)) {
        const std::string folded(trimmed(replaceAll(std::string(line), "\\s+", " ")));
        if (!folded.empty()) joined += (joined.empty() ? "" : "\n") + folded;
    }
    return std::string(firstCharacters(joined, 120000));
}

std::optional<std::string> slowTitle(const std::string& html) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString subject = icu::UnicodeString::fromUTF8(html);
    const std::unique_ptr<icu::RegexMatcher> matcher(
        compiled("<title[^>]*>(.*?)</title>").matcher(subject, status));
    if (!matcher->find(status)) return std::nullopt;
    std::string element;
    matcher->group(status).toUTF8String(element);
    const std::string content = replaceAll(element, "</?title[^>]*>", "");
    const auto title = trimmed(content);
    if (title.empty()) return std::nullopt;
    return slowEntities(std::string(title));
}

/// Pages out of the pieces at which an order of steps, a word's end, a line's end or a fold of
/// letters can show.
std::string randomPage(std::mt19937& random) {
    static const std::vector<std::string> pieces = {"<",
                                                    "<",
                                                    "<",
                                                    ">",
                                                    ">",
                                                    "/",
                                                    "</",
                                                    "<>",
                                                    "< >",
                                                    " ",
                                                    "\n",
                                                    "\r\n",
                                                    "\t",
                                                    "a",
                                                    "word",
                                                    "é",
                                                    "<script",
                                                    "<SCRIPT>",
                                                    "</script>",
                                                    "</Script>",
                                                    "</script >",
                                                    "<script src=x>",
                                                    "script",
                                                    "<style",
                                                    "<style>",
                                                    "</style>",
                                                    "<sty",
                                                    "le>",
                                                    "st",
                                                    "yle",
                                                    "<noscript>",
                                                    "</noscript>",
                                                    "<noscript",
                                                    "<br",
                                                    "<br>",
                                                    "<BR/>",
                                                    "<br /",
                                                    "br",
                                                    "<br\u00A0\u2028/>",
                                                    "<p>",
                                                    "</p",
                                                    "<P class='x'",
                                                    "<pre>",
                                                    "<div>",
                                                    "<li",
                                                    "<h1>",
                                                    "<h7>",
                                                    "</H6>",
                                                    "<tr>",
                                                    "<section>",
                                                    "<article",
                                                    "</footer>",
                                                    "<header x",
                                                    "<b>",
                                                    "</b>",
                                                    "<a href='",
                                                    "'",
                                                    "<title>",
                                                    "<title",
                                                    "</title>",
                                                    "</TITLE>",
                                                    "</title",
                                                    "title",
                                                    "&amp;",
                                                    "&lt;",
                                                    "&amp;lt;",
                                                    "&nbsp;",
                                                    "&#39;",
                                                    "&quot;",
                                                    "&gt;",
                                                    "&amp",
                                                    ";",
                                                    "lt;",
                                                    "nbsp;",
                                                    "&eacute;",
                                                    "&",
                                                    "amp;",
                                                    "\u00A0",
                                                    "\u2003",
                                                    "\u200B",
                                                    "\u0085",
                                                    "\u2028",
                                                    "\u2029",
                                                    "\v",
                                                    "\f",
                                                    "\u3000",
                                                    "\u180E",
                                                    "\u0301",
                                                    "\u00AD",
                                                    "\u200D",
                                                    "_",
                                                    "-",
                                                    "7",
                                                    "\u017F",
                                                    "<\u017Fcript>",
                                                    "</\u017Fcript>",
                                                    "<\uFB05yle>",
                                                    "</\uFB06yle>",
                                                    "<no\u017Fcript>",
                                                    "<\u017Fection",
                                                    "<T\u0130tle>",
                                                    "<t\u0131tle>",
                                                    "漢字",
                                                    "👩‍👩‍👧",
                                                    "<!--",
                                                    "-->",
                                                    "<!DOCTYPE html>",
                                                    "<scr",
                                                    "ipt>",
                                                    "</scr",
                                                    "<br<p>",
                                                    "<p<br>"};
    std::uniform_int_distribution<std::size_t> pick(0, pieces.size() - 1);
    std::uniform_int_distribution<int> length(1, 40);
    std::string page;
    for (int i = length(random); i > 0; --i) page += pieces[pick(random)];
    return page;
}

TEST(TextExtraction, EqualsTheStepwiseRulesOnGeneratedPages) {
    std::mt19937 random(20240817);
    std::size_t titles = 0;
    for (int i = 0; i < 20000; ++i) {
        const std::string page = randomPage(random);
        ASSERT_EQ(plainTextFromHTML(page), slowPlainText(page)) << "page " << i << ": " << page;
        ASSERT_EQ(titleFromHTML(page), slowTitle(page)) << "page " << i << ": " << page;
        ASSERT_EQ(decodeEntities(page), slowEntities(page)) << "page " << i << ": " << page;
        titles += titleFromHTML(page).has_value();
    }
    EXPECT_GT(titles, 100u);
}

TEST(TextExtraction, ReadsWhatAReaderSees) {
    EXPECT_EQ(plainTextFromHTML("<p>Hello</p><p>World</p>"), "Hello\nWorld");
    EXPECT_EQ(plainTextFromHTML("a<br/>b<BR>c"), "a\nb\nc");
    EXPECT_EQ(plainTextFromHTML("x<script>if(a<b)'<p>no</p>'</script>y"), "x y");
    EXPECT_EQ(plainTextFromHTML("salt &amp; pepper &amp;lt; caf&eacute;"),
              "salt & pepper < caf&eacute;");
    EXPECT_EQ(plainTextFromHTML(" \n\t "), "");
}

TEST(TextExtraction, FindsATitleForEveryPage) {
    EXPECT_EQ(titleFromHTML("<TITLE lang=en>  Salt &amp; Pepper </title>"), "Salt & Pepper");
    EXPECT_EQ(titleFromHTML("<title>over\nlines</title>"), std::nullopt);
    EXPECT_EQ(titleFromHTML("<title>one\n</title><title>two</title>"), "two");
    EXPECT_EQ(pageText("<title> </title><p>First<p>Second").title, "First");
    EXPECT_EQ(pageText("<p> </p>").title, "Untitled Memory");
}

TEST(TextExtraction, TakesTheFirstLineAsTitleAndCutsAfter72Characters) {
    EXPECT_EQ(titleFromText(""), "Untitled Memory");
    EXPECT_EQ(titleFromText(" \r\n\u2028  Plan \u2029 details"), "Plan");
    std::string line;
    for (int i = 0; i < 72; ++i) line += "e\u0301";
    EXPECT_EQ(titleFromText(line), line);
    EXPECT_EQ(titleFromText(line + "x"), line + "…");
}

TEST(TextExtraction, KeepsTheFirst120000Characters) {
    EXPECT_EQ(plainTextFromHTML(std::string(200000, 'x')).size(), 120000u);
    std::string families;
    for (int i = 0; i < 130000; ++i) families += i % 9 == 8 ? "<p>" : "👩‍👩‍👧 ";
    const std::string text = plainTextFromHTML(families);
    EXPECT_EQ(firstCharacters(text, 120000).size(), text.size());
    EXPECT_LT(firstCharacters(text, 119999).size(), text.size());
}

/// Quadratic work would take minutes on these; linear work takes a fraction of a second.
TEST(TextExtraction, StaysLinearOnHostilePages) {
    const std::array<std::string, 12> units = {
        "<script", "<script>",         "<",         "<br ",         "</script ", "<p", "<title>",
        "<title",  "<style></script>", "<title>\n", "<noscript <p", "&amp;"};
    for (const auto& unit : units) {
        std::string page;
        while (page.size() < 5'000'000) page += unit;
        const auto start = std::chrono::steady_clock::now();
        plainTextFromHTML(page);
        titleFromHTML(page);
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        EXPECT_LT(taken.count(), 10) << unit;
    }
    const std::string spaces(1'000'000, ' ');
    EXPECT_EQ(plainTextFromHTML("a<br" + spaces + "b"), "a<br b");
}

}  // namespace
}  // namespace nookery
