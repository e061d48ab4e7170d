// Receipts in numbers that no household reaches: the list of 50,000, their accountant package
// without originals, and the report of 10,000 records alone.
#include <fmt/format.h>
#include <sys/resource.h>

#include <array>
#include <functional>
#include <random>

#include "backends/StderrLog.h"
#include "backends/SystemPlatform.h"
#include "platform/PdfWriter.h"
#include "receipts/CrumbReceiptExporter.h"
#include "receipts/CrumbReceiptStore.h"
#include "receipts/ReceiptReport.h"
#include "support/Benchmark.h"

namespace nookery {
namespace {

constexpr int listedCount = 50'000;
constexpr std::size_t reportedCount = 10'000;
constexpr int repetitions = 5;

CrumbReceipt made(std::mt19937_64& random) {
    constexpr std::array merchants{"Blue Door Bakery",
                                   "Café Müller",
                                   "東京電力 新宿営業所",
                                   "Harbour & Sons Hardware",
                                   "Книжный магазин",
                                   "مكتبة النور",
                                   "A Very Long Name of a Merchant That Sells Everything"};
    CrumbReceipt receipt;
    receipt.id = Uuid::random();
    receipt.merchant = merchants[random() % merchants.size()];
    receipt.type = receiptTypes[random() % receiptTypes.size()].value;
    receipt.classification = classifications[random() % classifications.size()].value;
    receipt.category = std::string(builtInCategories[random() % builtInCategories.size()]);
    receipt.totalCents = Cents{static_cast<std::int64_t>(random() % 1'000'000)};
    receipt.purchaseDate =
        CalendarDay{2020 + static_cast<int>(random() % 7), 1 + static_cast<int>(random() % 12),
                    1 + static_cast<int>(random() % 28)};
    receipt.needsReview = random() % 4 == 0;
    if (random() % 3 == 0) receipt.note = "Paid in cash; the guarantee lies in the blue folder.";
    receipt.importedAt = Timestamp{1'700'000'000.0 + static_cast<double>(random() % 90'000'000)};
    return receipt;
}

/// In one transaction: the store makes each receipt durable by itself, as people enter them.
void fill(FileSystem& files, const LibraryLayout& layout) {
    CrumbReceiptStore store(files, layout);
    store.open();
    const Path live = layout.receiptsDatabase();
    auto connection = SqliteConnection::open(live, SqliteAccess::readWriteCreate);
    connection.execute("PRAGMA synchronous=OFF;");
    std::mt19937_64 random(1);
    for (int i = 0; i < 1000; ++i) store.save(made(random));
    for (int have = 1000; have < listedCount; have += 1000) {
        connection.execute(
            "INSERT INTO receipts SELECT printf('%s%08X', substr(id, 1, 28), " +
            std::to_string(have) +
            " + rowid), source_crumb_id, original_file_path, merchant, purchase_date + "
            "86400 * (rowid % 300), total_cents, classification, category, receipt_type, "
            "needs_review, note, imported_at + 1, modified_at FROM receipts LIMIT 1000;");
    }
}

long peakMegabytes() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

struct Spent {
    double whole = 0;
    double computing = 0;
};

Spent spentOn(const std::function<void()>& work) {
    Spent spent;
    spent.whole = secondsFor([&] { spent.computing = computingSecondsFor(work); });
    return spent;
}

void print(const std::string& what, const Spent& spent) {
    fmt::print("{:<32}{:8.3f} s, of that computing {:7.3f} s\n", what, spent.whole,
               spent.computing);
}

void measureList(FileSystem& files, const LibraryLayout& layout) {
    std::vector<double> whole, computing;
    std::size_t count = 0;
    for (int i = 0; i < repetitions; ++i) {
        const Spent spent = spentOn([&] {
            CrumbReceiptStore store(files, layout);
            store.openForReading();
            count = store.load().size();
        });
        whole.push_back(spent.whole);
        computing.push_back(spent.computing);
    }
    print(fmt::format("list of {} receipts", count), {median(whole), median(computing)});
}

ReceiptList loaded(FileSystem& files, const LibraryLayout& layout) {
    CrumbReceiptStore store(files, layout);
    store.openForReading();
    ReceiptList list;
    for (CrumbReceipt& receipt : store.load()) {
        list.push_back(std::make_shared<const CrumbReceipt>(std::move(receipt)));
    }
    return list;
}

void measureReport(const Platform& platform, const ReceiptList& receipts, const Path& folder) {
    ReceiptPackage package;
    package.totals = totalsOf(receipts);
    for (const auto& receipt : receipts) {
        package.rows.push_back({receipt, std::nullopt, issuesOf(*receipt, true)});
        if (!package.rows.back().issues.empty()) ++package.needReview;
    }
    const auto file = platform.files.createFile(folder / "report.pdf");
    const Spent spent = spentOn([&] {
        platform.pdf.write(*file, {},
                           [&](PdfCanvas& canvas) { drawReceiptReport(canvas, package); });
    });
    print(fmt::format("report of {} records, PDF", receipts.size()), spent);
}

void run(const Path& folder) {
    StderrLog log;
    SystemPlatform system({folder / "settings.json", folder, NOOKERY_PROGRAM_FOLDER}, log);
    const Platform& platform = system.platform();
    const LibraryLayout layout{folder / "data", folder / "cache"};
    fill(platform.files, layout);
    measureList(platform.files, layout);
    const ReceiptList receipts = loaded(platform.files, layout);
    measureReport(platform, {receipts.begin(), receipts.begin() + reportedCount}, folder);
    const long before = peakMegabytes();
    const Spent spent = spentOn([&] {
        const auto operation = CrumbReceiptExporter::exportTo(platform, layout, receipts, folder);
        system.mainLoop().runUntil([&] { return operation->isFinished(); });
        if (!operation->outcome()->isDone()) std::abort();
    });
    print(fmt::format("package of {} records", receipts.size()), spent);
    fmt::print("  memory beyond the list and one report: {} MB\n", peakMegabytes() - before);
}

}  // namespace
}  // namespace nookery

int main() { return nookery::runInTemporaryFolder("receipts_bench", nookery::run); }
