#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "foundation/Text.h"
#include "receipts/CrumbReceiptExporter.h"
#include "receipts/StrictCsv.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

namespace fs = std::filesystem;
using testing::CsvRows;
using testing::Fault;
using testing::Place;
using testing::readStrictCsv;
using testing::TestPlatform;

constexpr std::int64_t largest = std::numeric_limits<std::int64_t>::max();

class AccountantPackage : public ::testing::Test {
  protected:
    AccountantPackage() { fs::create_directories(chosen); }

    /// The k-th receipt's id ends in k.
    CrumbReceipt& add(ReceiptType type, Classification classification,
                      std::optional<std::int64_t> cents, const std::string& merchant = "Shop") {
        CrumbReceipt receipt;
        Uuid::Bytes bytes{};
        bytes.back() = static_cast<std::uint8_t>(receipts.size() + 1);
        receipt.id = Uuid(bytes);
        receipt.type = type;
        receipt.classification = classification;
        if (cents) receipt.totalCents = Cents{*cents};
        receipt.merchant = merchant;
        receipt.purchaseDate = CalendarDay{2026, 3, static_cast<int>(receipts.size()) + 1};
        receipt.needsReview = false;
        receipt.importedAt = Timestamp{1'780'000'000};
        receipts.push_back(receipt);
        return receipts.back();
    }
    CrumbReceipt& addPurchase(const std::string& merchant) {
        return add(ReceiptType::purchase, Classification::business, 1000, merchant);
    }
    void giveOriginal(CrumbReceipt& receipt, const std::string& name, const std::string& content) {
        receipt.originalFilePath =
            world.folder.write("data/Crumb/Coffer/Originals/" + name, content).native();
    }
    OperationPointer<CrumbReceiptExporter::Exported> begin() {
        ReceiptList list;
        for (const auto& receipt : receipts) {
            list.push_back(std::make_shared<const CrumbReceipt>(receipt));
        }
        return CrumbReceiptExporter::exportTo(world.platform(), world.layout(), list, chosen);
    }
    CrumbReceiptExporter::Exported write() { return world.resultOf(begin()); }
    std::string read(const Path& folder, std::string_view name) {
        return readWholeFile(*world.realFiles, folder / name, 1 << 24);
    }
    CsvRows transactions(const Path& folder) {
        return readStrictCsv(read(folder, "Receipts-Transactions.csv"));
    }
    template <typename Action>
    static std::string failure(const Action& action) {
        try {
            action();
            return "none";
        } catch (const Error& error) {
            return error.description();
        }
    }
    std::string drawn(std::size_t page) const {
        std::string all;
        for (const auto& text : world.pdf.pages.at(page).texts) all += text.text + "\n";
        return all;
    }
    std::string drawnOnAllPages() const {
        std::string all;
        for (std::size_t page = 0; page < world.pdf.pages.size(); ++page) all += drawn(page);
        return all;
    }

    TestPlatform world{Place::memory};
    Path chosen = world.folder / "chosen";
    std::vector<CrumbReceipt> receipts;
};

TEST_F(AccountantPackage, EveryFieldIsOneCellAndNoneIsAFormula) {
    const std::pair<const char*, const char*> merchants[] = {
        {"=SUM(A1)", "'=SUM(A1)"},
        {"=cmd|'/c calc'!A1", "'=cmd|'/c calc'!A1"},
        {"-2+3", "'-2+3"},
        {"+1", "'+1"},
        {"@home", "'@home"},
        {"\t=1", "\t=1"},
        {"line\r\nbreak", "line\r\nbreak"},
        {"a \"quoted\", b", "a \"quoted\", b"},
        {"\u202Eevil", "\u202Eevil"},
        {"\"=1\"", "\"=1\""},
        {"bad \xFF byte", "bad \uFFFD byte"},
    };
    for (const auto& [merchant, cell] : merchants) {
        CrumbReceipt& receipt = addPurchase(merchant);
        receipt.note = merchant;
        receipt.category = merchant;
    }
    const auto exported = write();
    const CsvRows rows = transactions(exported.folder);
    ASSERT_EQ(rows.size(), std::size(merchants) + 1);
    EXPECT_EQ(rows[0],
              (std::vector<std::string>{
                  "Receipt ID", "Receipt Date", "Imported Date", "Merchant / Provider",
                  "Receipt Type", "Classification", "Category", "Amount (USD)", "Counts as Expense",
                  "Needs Review", "Notes", "Original File", "Spending Impact (USD)"}));
    const CsvRows review = readStrictCsv(read(exported.folder, "Receipts-To-Review.csv"));
    ASSERT_EQ(review.size(), rows.size());
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const std::string cell = merchants[i - 1].second;
        EXPECT_EQ(rows[i].size(), 13u);
        for (const std::size_t column : {3u, 6u, 10u}) EXPECT_EQ(rows[i][column], cell);
        EXPECT_EQ(review[i][1], cell);
        EXPECT_EQ(review[i][2], "Original receipt file missing");
    }
}

TEST_F(AccountantPackage, CountsEachKindOfRecordAsTheRulesSay) {
    const auto business = Classification::business;
    add(ReceiptType::purchase, business, 10000).needsReview = true;
    add(ReceiptType::refund, business, 15050);
    add(ReceiptType::returnReceipt, business, 99900);
    add(ReceiptType::shippingDropoff, business, 5);
    add(ReceiptType::service, business, 6);
    add(ReceiptType::other, business, 7);
    add(ReceiptType::purchase, business, std::nullopt);
    add(ReceiptType::purchase, Classification::personal, largest);
    add(ReceiptType::refund, Classification::unclassified, 1);
    const auto exported = write();

    const ClassificationTotals& totals = exported.package.totals.of(business);
    EXPECT_EQ(totals.purchases, Cents{10000});
    EXPECT_EQ(totals.refunds, Cents{15050});
    EXPECT_EQ(totals.net, Cents{-5050});
    const std::array<std::array<const char*, 3>, 9> cells{
        {{"100.00", "Yes", "100.00"},
         {"150.50", "No", "'-150.50"},
         {"999.00", "No", "0.00"},
         {"0.05", "No", "0.00"},
         {"0.06", "No", "0.00"},
         {"0.07", "No", "0.00"},
         {"", "No", "0.00"},
         {"92233720368547758.07", "Yes", "92233720368547758.07"},
         {"0.01", "No", "'-0.01"}}};
    const CsvRows rows = transactions(exported.folder);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        EXPECT_EQ(rows[i + 1][7], cells[i][0]) << i;
        EXPECT_EQ(rows[i + 1][8], cells[i][1]) << i;
        EXPECT_EQ(rows[i + 1][12], cells[i][2]) << i;
    }
    const std::string summary = read(exported.folder, "Receipts-Summary.txt");
    EXPECT_NE(summary.find("\nBusiness: purchases 100.00; refunds -150.50; net -50.50"
                           "\nPersonal: purchases 92233720368547758.07; refunds -0.00; net "
                           "92233720368547758.07"
                           "\nUnclassified: purchases 0.00; refunds -0.01; net -0.01\n\nNotes\n"),
              std::string::npos)
        << summary;
    const std::string report = drawn(0);
    for (const char* line :
         {"Business purchases\n100.00\n", "Business refunds\n-150.50\n", "Business net\n-50.50\n",
          "Unclassified net\n-0.01\n", "Purchase records\n3\n", "Other receipt records\n6\n"}) {
        EXPECT_NE(report.find(line), std::string::npos) << line;
    }
    const std::string pages = drawnOnAllPages();
    const std::size_t inLedger = pages.find("\n$92233720368547758.07\n");
    const std::size_t inReview = pages.find("\n$92233720368547758.07\n", inLedger + 1);
    EXPECT_NE(inReview, std::string::npos) << "an amount is neither cut nor broken";

    add(ReceiptType::purchase, Classification::personal, 1, "The Last Straw");
    EXPECT_NE(failure([&] { write(); })
                  .find("too large to be added up. Check the amount of the "
                        "receipt The Last Straw"),
              std::string::npos);
}

TEST_F(AccountantPackage, ListsWhatEachRecordLacks) {
    CrumbReceipt& bare = add(ReceiptType::refund, Classification::unclassified, std::nullopt, " ");
    bare.purchaseDate.reset();
    bare.needsReview = true;
    add(ReceiptType::service, Classification::personal, std::nullopt);
    CrumbReceipt& whole = addPurchase("Whole");
    giveOriginal(whole, "w.pdf", "whole");
    const auto exported = write();
    const CsvRows review = readStrictCsv(read(exported.folder, "Receipts-To-Review.csv"));
    ASSERT_EQ(review.size(), 3u);
    EXPECT_EQ(review[0], (std::vector<std::string>{"Receipt ID", "Merchant / Provider", "Issues"}));
    EXPECT_EQ(review[1][2], "Original receipt file missing");
    EXPECT_EQ(review[2][2],
              "Marked needs review; Unclassified; Missing merchant/provider; Missing receipt date; "
              "Missing purchase amount; Original receipt file missing");
    EXPECT_EQ(exported.package.needReview, 2u);
    EXPECT_EQ(exported.package.originalsMissing, 2u);
    EXPECT_EQ(exported.package.originalsCopied, 1u);
}

TEST_F(AccountantPackage, OriginalsLieUnderReadableNamesThatTheirRowsTell) {
    giveOriginal(addPurchase("../../etc: *evil*\n\u202Ex"), "a.jpg", "one");
    giveOriginal(addPurchase("東京電力 / Café"), "b.pdf", "two");
    CrumbReceipt& third = addPurchase("");
    third.purchaseDate.reset();
    giveOriginal(third, "c", "three");
    CrumbReceipt twin = receipts[1];  // the same file and the same name, in other letters
    twin.merchant = "東京電力 cafÉ";
    receipts.push_back(twin);
    receipts[1].merchant = "東京電力 CAFé";
    const auto exported = write();
    const CsvRows rows = transactions(exported.folder);
    std::map<std::string, std::string> copies;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        copies[rows[i][11]] = read(exported.folder, rows[i][11]);
    }
    const std::map<std::string, std::string> expected{
        {"Original-Receipts/2026-03-01_etc-evil-x_00000000.jpg", "one"},
        {"Original-Receipts/2026-03-02_東京電力-CAFé_00000000.pdf", "two"},
        {"Original-Receipts/2026-03-02_東京電力-cafÉ_00000000 (2).pdf", "two"},
        {"Original-Receipts/undated_receipt_00000000", "three"}};
    EXPECT_EQ(copies, expected);
    EXPECT_EQ(world.folder.filesBelow("chosen").size(), 8u);
    EXPECT_EQ(world.folder.read("data/Crumb/Coffer/Originals/a.jpg"), "one");
}

TEST_F(AccountantPackage, NothingRemainsOfOneThatFails) {
    EXPECT_EQ(failure([&] {
                  chosen = world.folder / "nowhere";
                  write();
              }),
              "Choose an existing folder for the Receipts export.");
    chosen = world.layout().receiptOriginals();
    fs::create_directories(chosen);
    EXPECT_EQ(failure([&] { write(); }),
              "Choose a folder outside the library for the Receipts export.");
    chosen = world.folder / "chosen";
    giveOriginal(addPurchase("Shop"), "a.jpg", "content");
    giveOriginal(addPurchase("Other"), "b.jpg", "content");
    world.files.arm(Fault::none, 0);
    write();
    const int operations = world.files.operationCount();
    ASSERT_GT(operations, 15);
    int survived = 0;
    for (int k = 1; k <= operations; ++k) {
        fs::remove_all(chosen);
        fs::create_directories(chosen);
        world.files.arm(Fault::fail, k);
        const std::string message = failure([&] { write(); });
        world.files.disarm();
        survived += message == "none" ? 1 : 0;
        EXPECT_EQ(fs::is_empty(chosen), message != "none") << k << " " << message;
        EXPECT_EQ(message.find("/."), std::string::npos) << k << " " << message;
    }
    EXPECT_EQ(survived, 2);  // a copy is whole without its original's time
    fs::remove_all(chosen);
    fs::create_directories(chosen);
    const auto stopped = begin();
    world.digester.beforeDigesting = [&] { stopped->stop(); };
    EXPECT_THROW(world.resultOf(stopped), Cancelled);
    world.digester.beforeDigesting = {};
    EXPECT_TRUE(fs::is_empty(chosen));
    receipts[0].originalFilePath = (world.folder / "data").native();
    EXPECT_EQ(failure([&] { write(); }),
              "Could not copy the original for Shop. No export was completed.");
}

TEST_F(AccountantPackage, TakesAFreeNameBesideAnEarlierOne) {
    const Path first = write().folder;
    const Path second = write().folder;
    EXPECT_TRUE(first.filename().native().starts_with("NOOKERY-Receipts-Export-20"));
    EXPECT_EQ(second.native(), first.native() + " (2)");
}

TEST_F(AccountantPackage, TheReportRepeatsTheTablesHeadAndSplitsNoRow) {
    for (int i = 0; i < 20; ++i) {
        CrumbReceipt& receipt = addPurchase(i % 3 == 0 ? std::string(3000, 'm') : "Shop");
        receipt.note = i % 4 == 0 ? std::string(9000, 'n') : "";
        receipt.needsReview = i == 3;
        giveOriginal(receipt, std::to_string(i), "x");
    }
    write();
    std::size_t rowCount = 0;
    for (std::size_t page = 0; page < world.pdf.pages.size(); ++page) {
        const std::string text = drawn(page);
        EXPECT_EQ(text.find(page == 0 ? "NOOKERY  /  Receipts\n" : "NOOKERY  /  RECEIPTS\n"), 0u);
        EXPECT_NE(text.find("Generated by NOOKERY • Accountant report\nPage " +
                            std::to_string(page + 1) + "\n"),
                  std::string::npos);
        const auto rowsHere = [&] {
            std::size_t count = 0;
            for (std::size_t at = text.find("Purchase (+)"); at != std::string::npos;
                 at = text.find("Purchase (+)", at + 1)) {
                ++count;
            }
            return count;
        }();
        rowCount += rowsHere;
        const bool hasHead =
            text.find("Date\nMerchant\nType\nClass\nCategory\nAmount\n") != std::string::npos;
        EXPECT_EQ(hasHead, rowsHere > 0) << page;
        for (const auto& drawnText : world.pdf.pages[page].texts) {
            EXPECT_LE(drawnText.place.bottom(), 765) << drawnText.text;
        }
    }
    EXPECT_EQ(rowCount, 20u);
    const std::string last = drawn(world.pdf.pages.size() - 1);
    EXPECT_NE(last.find("Items requiring review\n"), std::string::npos);
    EXPECT_EQ(last.find("No records were flagged for review."), std::string::npos);

    receipts.clear();
    write();
    EXPECT_NE(drawn(0).find("No receipt records were included in this export."), std::string::npos);
    EXPECT_NE(drawn(0).find("No records were flagged for review."), std::string::npos);
}

}  // namespace
}  // namespace nookery
