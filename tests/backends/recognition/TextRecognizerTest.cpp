#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "backends/BothWays.h"
#include "backends/pdf/OffscreenApplication.h"
#include "backends/recognition/ReadingOrder.h"
#include "backends/recognition/TesseractTextRecognizer.h"
#include "receipts/CrumbReceiptRecognizer.h"
#include "support/receipts/ReceiptPhoto.h"

namespace nookery {
namespace {

using testing::MadeUpReceipt;
using testing::PhotoConditions;

class TextRecognizerTest : public ::testing::TestWithParam<testing::Way> {
  protected:
    void SetUp() override {
        demandOffscreenApplication();
        recognizer = GetParam() == testing::Way::direct
                         ? makeTextRecognizer(*files)
                         : makeIsolatedTextRecognizer(testing::testReaders(), *files);
        ASSERT_TRUE(recognizer) << "the language data is not installed";
    }

    Picture photo(const MadeUpReceipt& receipt, PhotoConditions conditions) {
        conditions.width = 800;
        return testing::photograph(receipt, conditions, random);
    }

    std::mt19937 random{7};
    std::unique_ptr<FileSystem> files = makePosixFileSystem();
    std::unique_ptr<TextRecognizer> recognizer;
};
NOOKERY_BOTH_WAYS(TextRecognizerTest);

std::size_t threadCount() { return makePosixFileSystem()->list("/proc/self/task").size(); }

TEST_P(TextRecognizerTest, ReadsReceiptsAsTheyArePhotographed) {
    struct Case {
        const char* name;
        int layout;
        PhotoConditions conditions;
    };
    const std::vector<Case> cases{
        {"scanned", 0, {}},
        {"tilted", 2, {.tiltDegrees = 6}},
        {"tilted the other way", 1, {.tiltDegrees = -7, .noise = 5}},
        {"in shadow", 3, {.shadow = 0.6, .fading = 0.4, .noise = 6}},
        {"crumpled", 2, {.tiltDegrees = 2, .foldDepth = 5, .shadow = 0.3}},
        {"bent", 1, {.tiltDegrees = 3, .keystone = 0.08, .foldDepth = 4}},
        {"out of focus", 3, {.foldDepth = 2, .blurRounds = 3, .noise = 4}}};
    for (const Case& wanted : cases) {
        const MadeUpReceipt receipt = testing::makeUpReceipt(wanted.layout, random);
        const auto lines = recognizer->recognise(photo(receipt, wanted.conditions), {});
        const auto result = CrumbReceiptRecognizer::parse(lines);
        EXPECT_EQ(result.totalCents, receipt.total) << wanted.name;
        EXPECT_EQ(result.purchaseDate, receipt.day) << wanted.name;
        for (const OCRLine& line : lines) {
            EXPECT_GE(line.box.x, 0);
            EXPECT_LE(line.box.x + line.box.width, 1);
        }
    }
}

/// The part of a picture around a box, with as much again above and below.
Picture partAround(const Picture& picture, const NormalizedBox& box) {
    const auto pixels = [](double side, int length) { return static_cast<int>(side * length); };
    const int margin = pixels(box.height, picture.height);
    const int left = std::max(0, pixels(box.x, picture.width) - margin);
    const int right = std::min(picture.width, pixels(box.x + box.width, picture.width) + margin);
    const int top = std::max(0, pixels(1 - box.y - box.height, picture.height) - margin);
    const int bottom = std::min(picture.height, pixels(1 - box.y, picture.height) + margin);
    Picture part{right - left, bottom - top, {}};
    for (int y = top; y < bottom; ++y) {
        const auto row =
            picture.pixels.begin() + 3L * (static_cast<long>(y) * picture.width + left);
        part.pixels.insert(part.pixels.end(), row, row + 3L * part.width);
    }
    return part;
}

TEST_P(TextRecognizerTest, WordsStandInTheirBoxesAlsoInAPictureThatIsTilted) {
    for (const double tilt : {0.0, 6.0, -6.0}) {
        PhotoConditions conditions;
        conditions.tiltDegrees = tilt;
        const Picture picture = photo(testing::makeUpReceipt(2, random), conditions);
        int longWords = 0;
        int foundAgain = 0;
        for (const OCRLine& line : recognizer->recognise(picture, {})) {
            for (const OCRWord& word : line.words) {
                if (word.text.size() < 5) continue;
                ++longWords;
                for (const OCRLine& again :
                     recognizer->recognise(partAround(picture, word.box), {})) {
                    if (again.text.find(word.text) == std::string::npos) continue;
                    ++foundAgain;
                    break;
                }
            }
        }
        EXPECT_GE(longWords, 8) << tilt;
        EXPECT_GE(foundAgain, 0.7 * longWords) << tilt << ": " << foundAgain << " of " << longWords;
    }
}

TEST_P(TextRecognizerTest, SaysNothingAndStartsNoThreads) {
    const Picture picture = photo(testing::makeUpReceipt(0, random), {});
    Picture static_;
    static_.width = 300;
    static_.height = 300;
    std::generate_n(std::back_inserter(static_.pixels), 3 * 300 * 300,
                    [this] { return static_cast<std::uint8_t>(random()); });
    const std::size_t before = threadCount();
    ::testing::internal::CaptureStderr();
    const auto lines = recognizer->recognise(picture, {});
    recognizer->recognise(static_, {});
    for (const int side : {0, 1, 9}) {
        const auto area = static_cast<std::size_t>(3 * side * side);
        const std::vector<std::uint8_t> white(area, 255);
        EXPECT_TRUE(recognizer->recognise({side, side, white}, {}).empty());
    }
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(threadCount(), before);
    EXPECT_FALSE(lines.empty());
}

TEST_P(TextRecognizerTest, ReadsTheSameOnEveryThread) {
    const Picture picture = photo(testing::makeUpReceipt(1, random), {});
    const auto alone = recognizer->recognise(picture, {});
    std::vector<std::vector<OCRLine>> found(2);
    {
        std::vector<std::jthread> threads;
        for (auto& lines : found) {
            threads.emplace_back([&] { lines = recognizer->recognise(picture, {}); });
        }
    }
    EXPECT_EQ(found[0], alone);
    EXPECT_EQ(found[1], alone);
}

TEST_P(TextRecognizerTest, StopsWhenAskedAndReadsOnAfterwards) {
    const Picture picture = photo(testing::makeUpReceipt(0, random), {});
    const auto whole = recognizer->recognise(picture, {});
    std::stop_source stop;
    std::jthread asking([&stop] { stop.request_stop(); });
    EXPECT_THROW(
        {
            // Sooner or later in the middle of it.
            for (;;) recognizer->recognise(picture, stop.get_token());
        },
        Cancelled);
    EXPECT_EQ(recognizer->recognise(picture, {}), whole);
}

TEST(ReadingOrder, KeepsAmountsWithTheirLabelsOnBentPaper) {
    // Rows that rise by more than they are apart, more so at the top; every third has no amount.
    std::vector<TextPiece> pieces;
    std::vector<std::string> wanted;
    for (int row = 0; row < 12; ++row) {
        const double y = 0.9 - 0.06 * row;
        const double rise = 0.08 + 0.03 * (y - 0.5);
        const auto piece = [&](const std::string& text, double x) {
            pieces.push_back({{text, {x, y + rise * (x - 0.4), 0.2, 0.03}}, rise * 0.8});
        };
        const std::string number = std::to_string(row);
        if (row % 3 != 2) piece("amount " + number, 0.7);
        piece("label " + number, 0.1);
        wanted.push_back("label " + number + (row % 3 != 2 ? " amount " + number : ""));
    }
    std::vector<std::string> found;
    for (const OCRLine& line : inRows(pieces)) found.push_back(line.text);
    EXPECT_EQ(found, wanted);
}

TEST(ReadingOrder, TrustsARowAsItsLeastCertainNumber) {
    const auto row = [](TextPiece left, TextPiece right) {
        left.line.box = {0.1, 0.5, 0.2, 0.02};
        right.line.box = {0.7, 0.5, 0.2, 0.02};
        return inRows({left, right}).at(0).confidence;
    };
    const TextPiece stars{{"****", {}, 0.1}};
    const TextPiece amount{{"5.00", {}, 0.9}, 0, true};
    const TextPiece faint{{"6.00", {}, 0.4}, 0, true};
    EXPECT_EQ(row(stars, amount), 0.9);
    EXPECT_EQ(row(amount, stars), 0.9);
    EXPECT_EQ(row(amount, faint), 0.4);
}

}  // namespace
}  // namespace nookery
