#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <thread>

#include "backends/BothWays.h"
#include "backends/documents/DocumentFormats.h"
#include "backends/documents/PdfPages.h"
#include "backends/pdf/QtPdfWriter.h"
#include "foundation/DurableFile.h"
#include "foundation/Text.h"
#include "support/FaultyFileSystem.h"
#include "support/TemporaryDirectory.h"

namespace nookery {
namespace {

constexpr PdfFont body{.size = 11};

class PdfWriterTest : public ::testing::TestWithParam<testing::Way> {
  protected:
    std::string made(const std::function<void(PdfCanvas&)>& draw) {
        replaceDurably(files, file,
                       [&](WritableFile& target) { writer->write(target, {.title = "T"}, draw); });
        return folder.read("made.pdf");
    }

    std::string readBack() const {
        return makeDocumentReader()->read(file, {"application/pdf"}, {}, {}).text;
    }

    testing::TemporaryDirectory folder;
    std::unique_ptr<FileSystem> real = makePosixFileSystem();
    testing::FaultyFileSystem files{*real};
    std::unique_ptr<PdfWriter> writer = GetParam() == testing::Way::direct
                                            ? makePdfWriter()
                                            : makeIsolatedPdfWriter(testing::testReaders());
    Path file = folder / "made.pdf";
};
NOOKERY_BOTH_WAYS(PdfWriterTest);

void drawLines(PdfCanvas& canvas, std::string_view text, double width) {
    double top = 40;
    for (const PdfTextLine& line : canvas.breakText(text, body, width)) {
        canvas.drawText(line, body, {}, {40, top}, width, PdfAlignment::natural);
        top += line.height();
    }
}

void drawAFewThings(PdfCanvas& canvas) {
    drawLines(canvas, "Words in bold and not, Ж 漢字", 300);
    canvas.beginPage();
    canvas.drawPicture({2, 1, {255, 0, 0, 0, 0, 255}}, {100, 100, 200, 100});
    canvas.drawLine({40, 300}, {400, 300}, 0.5, {128, 128, 128});
}

class TimeZone {
  public:
    explicit TimeZone(const char* name) { set(name); }
    ~TimeZone() { set("UTC"); }

  private:
    static void set(const char* name) {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
};

TEST_P(PdfWriterTest, TextOfAnyScriptIsThereToBeReadAgain) {
    const std::string text =
        "Fire door, 2nd floor: œuvre naïve 12 €\nПожарная дверь\nΠόρτα\n防火門の検査\n방화문\n"
        "דלת אש\nباب الحريق\nअग्नि द्वार\nประตูหนีไฟ";
    made([&](PdfCanvas& canvas) { drawLines(canvas, text, 400); });
    const std::string found = readBack();
    for (const char* word :
         {"œuvre naïve 12 €", "Пожарная", "Πόρτα", "の検査", "방화문", "דלת", "الحريق"}) {
        EXPECT_NE(found.find(word), std::string::npos) << word << "\n" << found;
    }
}

TEST_P(PdfWriterTest, EmojiLeaveInk) {
    made([&](PdfCanvas& canvas) { drawLines(canvas, "🍕", 400); });
    const Picture page = makePdfPages()->render(file, 0, 800, {}, {});
    EXPECT_GT(std::count_if(page.pixels.begin(), page.pixels.end(),
                            [](std::uint8_t level) { return level < 128; }),
              30);
}

TEST_P(PdfWriterTest, LinesFitTheirWidthAndLoseNothing) {
    const std::string text = "One " + std::string(200, 'w') +
                             "\x01two\n\nthree و four five six seven eight nine ten eleven";
    made([&](PdfCanvas& canvas) {
        std::string joined;
        for (const PdfTextLine& line : canvas.breakText(text, body, 90)) {
            EXPECT_LE(line.width, 90.01) << line.text;
            EXPECT_GT(line.height(), 0) << line.text;
            joined += line.text;
        }
        EXPECT_EQ(joined, "One" + std::string(200, 'w') +
                              " twothree و four fivesix seven eightnine ten eleven");
        EXPECT_TRUE(canvas.breakText("", body, 90).empty());
        EXPECT_EQ(canvas.breakText("\tshort\ttab", body, 90).size(), 1u);
        const PdfTextLine fitted = canvas.fitText("Up\nand\t" + std::string(300, 'x'), body, 90);
        EXPECT_LE(fitted.width, 90.01);
        EXPECT_TRUE(fitted.text.starts_with("Up and x")) << fitted.text;
        EXPECT_TRUE(fitted.text.ends_with("…")) << fitted.text;
    });
}

/// Each entry of the document's table of places must point at its object.
void checkPlaces(const std::string& pdf) {
    const std::size_t key = pdf.rfind("startxref\n");
    ASSERT_NE(key, std::string::npos);
    const auto table = std::stoul(pdf.substr(key + 10));
    ASSERT_EQ(pdf.substr(table, 5), "xref\n");
    const auto lines = splitLines(std::string_view(pdf).substr(table));
    const auto count = std::stoul(std::string(splitWhiteSpace(lines[1])[1]));
    ASSERT_GT(count, 5u);
    for (std::size_t number = 1; number < count; ++number) {
        const auto place = std::stoul(std::string(lines[2 + number]));
        const std::string object = std::to_string(number) + " 0 obj";
        EXPECT_EQ(pdf.substr(place, object.size()), object);
    }
}

TEST_P(PdfWriterTest, TheSameDrawingGivesTheSameBytesAnywhereAndWhole) {
    std::string first;
    for (const char* zone : {"UTC", "Asia/Kolkata", "America/New_York"}) {
        const TimeZone here(zone);
        const std::string pdf = made(drawAFewThings);
        checkPlaces(pdf);
        EXPECT_NE(pdf.find("/CreationDate (D:20000101000000Z)\n"), std::string::npos);
        if (first.empty()) first = pdf;
        EXPECT_TRUE(pdf == first) << zone;
    }
    std::thread([&] {
        const auto another = makePdfWriter();
        replaceDurably(files, file, [&](WritableFile& target) {
            another->write(target, {.title = "T"}, drawAFewThings);
        });
    }).join();
    EXPECT_TRUE(folder.read("made.pdf") == first);
}

TEST_P(PdfWriterTest, AFailureLeavesWhatWasThereBefore) {
    folder.write("made.pdf", "before");
    files.arm(testing::Fault::diskFull, 2);
    EXPECT_THROW(made(drawAFewThings), FileError);
    files.disarm();
    EXPECT_THROW(made([](PdfCanvas& canvas) {
                     drawAFewThings(canvas);
                     throw Cancelled();
                 }),
                 Cancelled);
    EXPECT_EQ(folder.filesBelow(), std::vector<std::string>{"made.pdf"});
    EXPECT_EQ(folder.read("made.pdf"), "before");
}

}  // namespace
}  // namespace nookery
