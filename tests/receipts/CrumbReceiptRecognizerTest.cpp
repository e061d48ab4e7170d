#include "receipts/CrumbReceiptRecognizer.h"

#include <gtest/gtest.h>

#include "support/TestPlatform.h"

namespace nookery {
namespace {

using CrumbReceiptRecognizer::Doubt;
using CrumbReceiptRecognizer::parse;
using CrumbReceiptRecognizer::Result;
using Lines = std::vector<OCRLine>;

/// Lines below each other, each as wide as half the picture.
Lines page(const std::vector<std::string>& texts) {
    Lines lines;
    double y = 0.95;
    for (const std::string& text : texts) {
        lines.push_back({text, {0.05, y, 0.5, 0.02}});
        y -= 0.04;
    }
    return lines;
}

std::optional<std::int64_t> totalOf(const Lines& lines) {
    const Result result = parse(lines);
    return result.totalCents ? std::optional(result.totalCents->count) : std::nullopt;
}

TEST(ReceiptTotal, IsReadFromTheLineThatNamesIt) {
    struct Case {
        std::vector<std::string> lines;
        std::optional<std::int64_t> total;
    };
    const std::vector<Case> cases{
        {{"TOTAL $1,234.56"}, 123456},
        {{"Total 5.00", "TOTAL 7.25"}, 725},
        {{"TOTALS 5.00"}, std::nullopt},
        {{"TOTAL 12"}, std::nullopt},
        {{"SUBTOTAL 10.00"}, std::nullopt},
        {{"SUB TOTAL 10.00"}, std::nullopt},
        {{"TOTAL SAVINGS 3.00"}, std::nullopt},
        {{"TOTAL TAX 0.80"}, std::nullopt},
        {{"SUBTOTAL 10.00", "SALES TAX 0.80"}, 1080},
        {{"SUBTOTAL 10.00", "TAX 0.80"}, std::nullopt},
        {{"SUBTOTAL 10.00", "SALES TAX 0.80", "TOTAL 99.00"}, 9900},
        {{"TOTAL 92233720368547758.07"}, 9223372036854775807},
        {{"TOTAL 92233720368547758.08"}, std::nullopt},
        {{"SUBTOTAL 92233720368547758.07", "SALES TAX 0.01"}, std::nullopt},
        {{"TOTAL 1.234"}, std::nullopt},
        {{}, std::nullopt}};
    for (const Case& wanted : cases) {
        EXPECT_EQ(totalOf(page(wanted.lines)), wanted.total)
            << (wanted.lines.empty() ? "" : wanted.lines.front());
    }
}

TEST(ReceiptTotal, MayStandInTheSameRowButNotInTheNext) {
    const OCRLine label{"TOTAL", {0.1, 0.50, 0.2, 0.02}};
    const auto withAmountAt = [&](double x, double y) {
        return totalOf({label, {"25.00", {x, y, 0.1, 0.02}}});
    };
    EXPECT_EQ(withAmountAt(0.7, 0.50), 2500);
    EXPECT_EQ(withAmountAt(0.7, 0.489), 2500);
    EXPECT_EQ(withAmountAt(0.7, 0.475), std::nullopt);
    EXPECT_EQ(withAmountAt(0.0, 0.50), std::nullopt);
    // Of two, the one that is level with the label; a bare amount before one among words.
    EXPECT_EQ(totalOf({{"9.00", {0.7, 0.511, 0.1, 0.02}}, label, {"25.00", {0.7, 0.5, 0.1, 0.02}}}),
              2500);
    EXPECT_EQ(
        totalOf({label, {"was 9.00", {0.5, 0.5, 0.1, 0.02}}, {"USD 25.00", {0.8, 0.5, 0.1, 0.02}}}),
        2500);
}

TEST(ReceiptDate, IsTheFirstDayThatExists) {
    struct Case {
        std::string line;
        std::optional<CalendarDay> day;
    };
    const std::vector<Case> cases{{"03/04/2026 10:15", CalendarDay{2026, 3, 4}},
                                  {"Date 3-4-26", CalendarDay{2026, 3, 4}},
                                  {"12/31/99", CalendarDay{1999, 12, 31}},
                                  {"2026-03-04", CalendarDay{2026, 3, 4}},
                                  {"2026/3/4", CalendarDay{2026, 3, 4}},
                                  {"13/02/2026 then 02/13/2026", CalendarDay{2026, 2, 13}},
                                  {"02/30/2026", std::nullopt},
                                  {"3/4/202", std::nullopt},
                                  {"3/4-2026", std::nullopt},
                                  {"123/04/2026", std::nullopt},
                                  {"March 4, 2026", std::nullopt}};
    for (const Case& wanted : cases) {
        EXPECT_EQ(parse(page({wanted.line})).purchaseDate, wanted.day) << wanted.line;
    }
    EXPECT_EQ(parse(page({"no day", "02/30/2026", "1/2/2026", "1/3/2026"})).dateLines,
              std::vector<std::size_t>{2});
}

TEST(ReceiptMerchant, IsTheFirstLineThatMayBeAName) {
    struct Case {
        std::vector<std::string> lines;
        std::optional<std::string> merchant;
    };
    const std::string longName(60, 'A');
    const std::vector<Case> cases{
        {{"RECEIPT", "Thank you!", "Blue Heron Cafe"}, "Blue Heron Cafe"},
        {{"  Blue Heron Cafe "}, "Blue Heron Cafe"},
        {{"AB", "ABC"}, "ABC"},
        {{longName + "A", longName}, longName},
        {{"1234 5678 ab", "Caf\u00e9"}, "Caf\u00e9"},
        {{"Wholesale Foods", "WWW.SHOP.COM"}, std::nullopt},
        {{"How doers", "get more done."}, "Home Depot"},
        {{"THE HOME", "DEPOT 1234"}, "Home Depot"},
        {{"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "Too Late"}, std::nullopt}};
    for (const Case& wanted : cases) {
        EXPECT_EQ(parse(page(wanted.lines)).merchant, wanted.merchant) << wanted.lines.front();
    }
    EXPECT_EQ(parse(page({"x", "THE HOME", "DEPOT 1234"})).merchantLines,
              (std::vector<std::size_t>{1, 2}));
}

TEST(ReceiptDoubts, NameWhatSpeaksAgainstTheTotal) {
    using Doubts = std::vector<Doubt>;
    struct Case {
        std::vector<std::string> lines;
        Doubts doubts;
    };
    const std::vector<Case> cases{
        {{"MILK 2.00", "SUBTOTAL 10.00", "TAX 8.00% 0.80", "TOTAL 10.80", "VISA 10.80"}, {}},
        {{"TOTAL 10.80", "TOTAL DUE 10.80", "CASH 20.00"}, {}},
        {{"TOTAL 10.80", "TOTAL 18.80"}, {Doubt::totalLinesDisagree}},
        {{"SUBTOTAL 10.00", "TAX 0.80", "TOTAL 18.80"}, {Doubt::sumContradictsTotal}},
        {{"TOTAL 18.80", "VISA 10.80"}, {Doubt::cardContradictsTotal}},
        {{"SUBTOTAL 70.00", "TOTAL 10.80"}, {Doubt::largerAmountAbove}}};
    for (const Case& wanted : cases) {
        EXPECT_EQ(parse(page(wanted.lines)).doubts, wanted.doubts) << wanted.lines.front();
    }
    Lines faint = page({"TOTAL 10.80"});
    faint.front().confidence = 0.3;
    EXPECT_EQ(parse(faint).doubts, Doubts{Doubt::poorlyReadTotal});
    EXPECT_TRUE(parse(page({"VISA 10.80"})).doubts.empty()) << "no total, nothing to doubt";
}

TEST(ReceiptLines, RegainLostDecimalPointsWhereTheyAreBeyondDoubt) {
    Lines lines = page({"TOTAL $395 24", "TOTAL $1,212 .53", "TOTAL 395 24", "$5.10", "$3 items",
                        "TOTAL 132. 51", "TOTAL 1,042,02", "ITEMS 1,042", "5. 125"});
    lines = CrumbReceiptRecognizer::withDecimalPoints(lines);
    std::vector<std::string> texts;
    for (const OCRLine& line : lines) texts.push_back(line.text);
    EXPECT_EQ(texts, (std::vector<std::string>{"TOTAL $395.24", "TOTAL $1,212.53", "TOTAL 395 24",
                                               "$5.10", "$3 items", "TOTAL 132.51",
                                               "TOTAL 1,042.02", "ITEMS 1,042", "5. 125"}));
}

TEST(ReceiptFile, IsReadOnlyWhenItIsAPictureAndSomethingCanReadIt) {
    testing::TestPlatform world;
    world.textRecognizer.lines = page({"TOTAL $5 00"});
    const auto write = [&](const char* name, std::string_view bytes) {
        const Path path = world.folder / name;
        const auto file = world.realFiles->createFile(path);
        file->write(std::as_bytes(std::span(bytes)));
        file->close();
        return path;
    };
    const Platform platform = world.platform();
    const Path picture = write("a.png", "\x89PNG rest");
    EXPECT_EQ(CrumbReceiptRecognizer::recognise(platform, picture, {}).front().text, "TOTAL $5.00");
    EXPECT_THROW(CrumbReceiptRecognizer::recognise(platform, write("b.txt", "TOTAL 5.00"), {}),
                 RecognitionError);
    EXPECT_THROW(CrumbReceiptRecognizer::recognise(platform, write("c.png", "\x89PNG damaged"), {}),
                 ImageError);
    EXPECT_THROW(CrumbReceiptRecognizer::recognise(platform, world.folder / "gone.png", {}),
                 FileError);
    Platform withoutData = world.platform();
    withoutData.textRecognizer = nullptr;
    EXPECT_THROW(CrumbReceiptRecognizer::recognise(withoutData, picture, {}), RecognitionError);
}

}  // namespace
}  // namespace nookery
