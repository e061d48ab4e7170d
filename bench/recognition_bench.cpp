// How long reading a photographed receipt takes, and how often its total is right.
//
// The receipts are made up: printed in several layouts and fonts, laid on a table, tilted, folded,
// shaded, blurred. Times are the processor's, on one core. With a folder as argument, the
// photographs are kept there to be looked at.

#include <fmt/format.h>

#include <QImage>
#include <ctime>
#include <map>

#include "backends/pdf/OffscreenApplication.h"
#include "backends/recognition/TesseractTextRecognizer.h"
#include "receipts/CrumbReceiptRecognizer.h"
#include "support/Benchmark.h"
#include "support/receipts/ReceiptPhoto.h"

namespace nookery {
namespace {

using testing::MadeUpReceipt;

constexpr int receiptCount = 64;
constexpr unsigned seed = 20260301;

struct Tally {
    int count = 0;
    int right = 0;
    int undoubted = 0;
    int rightUndoubted = 0;
    int merchantRight = 0;
    int dateRight = 0;

    void add(const MadeUpReceipt& truth, const CrumbReceiptRecognizer::Result& result) {
        const bool isRight = result.totalCents == truth.total;
        const bool isUndoubted = result.totalCents && result.doubts.empty();
        ++count;
        right += isRight;
        undoubted += isUndoubted;
        rightUndoubted += isRight && isUndoubted;
        merchantRight += result.merchant == truth.merchant;
        dateRight += result.purchaseDate == truth.day;
    }

    void print(std::string_view name) const {
        fmt::print(
            "{:<12} {:>3} receipts: total right {:>5.1f}%, not doubtful {:>3}, of these "
            "right {:>5.1f}%, merchant {:>5.1f}%, date {:>5.1f}%\n",
            name, count, 100.0 * right / count, undoubted,
            undoubted == 0 ? 0.0 : 100.0 * rightUndoubted / undoubted,
            100.0 * merchantRight / count, 100.0 * dateRight / count);
    }
};

void keep(const Picture& picture, const std::string& folder, int number) {
    const QImage image(picture.pixels.data(), picture.width, picture.height, 3 * picture.width,
                       QImage::Format_RGB888);
    image.save(QString::fromStdString(fmt::format("{}/receipt-{:02}.png", folder, number)));
}

/// Misses, and what was read right but doubted.
void describe(int number, const MadeUpReceipt& truth, const std::vector<OCRLine>& lines,
              const CrumbReceiptRecognizer::Result& result) {
    const bool isRight = result.totalCents == truth.total;
    if (isRight && result.doubts.empty()) return;
    fmt::print("{:02} {}: {} read as {}\n", number, truth.layout, toText(truth.total),
               result.totalCents ? toText(*result.totalCents) : "nothing");
    for (const std::size_t line : result.totalLines) fmt::print("     {}\n", lines[line].text);
    for (const auto doubt : result.doubts) {
        fmt::print("     {}\n", CrumbReceiptRecognizer::explanation(doubt));
    }
}

/// What else runs on the machine does not count.
double processorSecondsFor(const std::function<void()>& work) {
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    const double start = now();
    work();
    return now() - start;
}

void measureShares(const TextRecognizer& recognizer, const std::string& folder) {
    std::mt19937 random(seed);
    Tally all;
    std::map<std::string, Tally> byLayout;
    std::vector<double> seconds;
    std::vector<double> parseSeconds;
    for (int number = 0; number < receiptCount; ++number) {
        const MadeUpReceipt truth =
            testing::makeUpReceipt(number % testing::receiptLayoutCount(), random);
        const Picture photo = testing::photograph(truth, testing::handHeld(random), random);
        if (!folder.empty()) keep(photo, folder, number);
        std::vector<OCRLine> lines;
        seconds.push_back(processorSecondsFor([&] { lines = recognizer.recognise(photo, {}); }));
        lines = CrumbReceiptRecognizer::withDecimalPoints(std::move(lines));
        CrumbReceiptRecognizer::Result result;
        parseSeconds.push_back(processorSecondsFor([&] {
                                   for (int i = 0; i < 100; ++i)
                                       result = CrumbReceiptRecognizer::parse(lines);
                               }) /
                               100);
        all.add(truth, result);
        byLayout[truth.layout].add(truth, result);
        describe(number, truth, lines, result);
    }
    for (const auto& [layout, tally] : byLayout) tally.print(layout);
    all.print("all");
    fmt::print(
        "recognition: median {:.0f} ms; parse of its lines: median {:.1f} us "
        "(processor time)\n",
        1e3 * median(seconds), 1e6 * median(parseSeconds));
}

/// A receipt long enough to fill 1200 x 3000.
void measureLongPhoto(const TextRecognizer& recognizer) {
    std::mt19937 random(seed);
    MadeUpReceipt receipt = testing::makeUpReceipt(0, random);
    const std::vector<testing::PrintedRow> rows = receipt.rows;
    receipt.rows.insert(receipt.rows.begin() + 5, rows.begin() + 5, rows.begin() + 12);
    testing::PhotoConditions conditions;
    conditions.tiltDegrees = 2;
    conditions.foldDepth = 3;
    conditions.shadow = 0.4;
    conditions.blurRounds = 1;
    conditions.noise = 6;
    Picture photo = testing::photograph(receipt, conditions, random);
    photo.pixels.resize(std::size_t{3} * 1200 * 3000, 90);
    photo.height = 3000;
    std::vector<double> seconds;
    for (int i = 0; i < 7; ++i) {
        seconds.push_back(processorSecondsFor([&] { recognizer.recognise(photo, {}); }));
    }
    fmt::print("recognition of a {} x {} photo with {} rows: median {:.0f} ms\n", photo.width,
               photo.height, receipt.rows.size(), 1e3 * median(seconds));
}

/// Grain that looks like a thousand lines: what it costs beyond a page of text is for nothing.
void measureGrain(const TextRecognizer& recognizer) {
    constexpr int side = 1500;
    std::mt19937 random(7);
    Picture grain{side, side, {}};
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x) {
            const bool isInk = (7 * x + 13 * y + static_cast<int>(random() % 6)) % 17 <= 8;
            grain.pixels.insert(grain.pixels.end(), 3, isInk ? 0 : 255);
        }
    }
    std::size_t lineCount = 0;
    const double seconds =
        processorSecondsFor([&] { lineCount = recognizer.recognise(grain, {}).size(); });
    fmt::print("grain of {0} x {0}, taken for {1} lines: {2:.1f} s\n", side, lineCount, seconds);
}

}  // namespace
}  // namespace nookery

int main(int argc, char** argv) {
    nookery::demandOffscreenApplication();
    const auto files = nookery::makePosixFileSystem();
    const auto recognizer = nookery::makeTextRecognizer(*files);
    if (!recognizer) {
        fmt::print(stderr, "recognition_bench: the language data is not installed.\n");
        return 1;
    }
    nookery::measureLongPhoto(*recognizer);
    nookery::measureGrain(*recognizer);
    nookery::measureShares(*recognizer, argc > 1 ? argv[1] : "");
    return 0;
}
