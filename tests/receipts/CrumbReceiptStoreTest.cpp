#include "receipts/CrumbReceiptStore.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>

#include "foundation/SqliteStatement.h"
#include "support/TestPlatform.h"

namespace nookery {
namespace {

using testing::TestPlatform;

class ReceiptStore : public ::testing::Test {
  protected:
    static CrumbReceipt receipt(const std::string& merchant, std::optional<CalendarDay> day,
                                double importedAt) {
        CrumbReceipt made;
        made.id = Uuid::random();
        made.merchant = merchant;
        made.purchaseDate = day;
        made.importedAt = made.modifiedAt = Timestamp{importedAt};
        return made;
    }
    SqliteConnection raw() {
        std::filesystem::create_directories(world.layout().receipts());
        return SqliteConnection::open(world.layout().receiptsDatabase(),
                                      SqliteAccess::readWriteCreate);
    }
    std::vector<std::string> merchants() {
        std::vector<std::string> names;
        for (const auto& loaded : store.load()) names.push_back(loaded.merchant.value_or("(none)"));
        return names;
    }
    template <typename Action>
    static std::string failure(const Action& action) {
        try {
            action();
            return "none";
        } catch (const StoreError& error) {
            return error.description();
        }
    }

    TestPlatform world{testing::Place::memory};
    CrumbReceiptStore store{world.files, world.layout()};
};

TEST_F(ReceiptStore, GivesBackWhatItWasGiven) {
    store.open();
    CrumbReceipt full = receipt("Café \"Ö\"", CalendarDay{2024, 2, 29}, 1'700'000'000.25);
    full.type = ReceiptType::shippingDropoff;
    full.sourceCrumbID = Uuid::random();
    full.originalFilePath = "/somewhere/R.pdf";
    full.totalCents = Cents{std::numeric_limits<std::int64_t>::max()};
    full.classification = Classification::business;
    full.category = "Meals";
    full.needsReview = false;
    full.note = "line one\nline two";
    const CrumbReceipt bare = receipt("", std::nullopt, 5);
    store.save(full);
    store.save(bare);
    EXPECT_EQ(store.load(), (std::vector{full, bare}));

    CrumbReceipt changed = full;
    changed.totalCents.reset();
    changed.purchaseDate.reset();
    changed.category.reset();
    changed.importedAt = Timestamp{9};
    changed.modifiedAt = Timestamp{10};
    store.save(changed);
    changed.importedAt = full.importedAt;  // never changed by an update
    EXPECT_EQ(store.load().front(), changed);

    store.remove(full.id);
    EXPECT_EQ(store.load(), std::vector{bare});
}

TEST_F(ReceiptStore, ListsNewestReceiptsFirstAndUndatedOnesLast) {
    store.open();
    store.save(receipt("undated old", std::nullopt, 1));
    store.save(receipt("march, taken in first", CalendarDay{2026, 3, 1}, 10));
    store.save(receipt("undated new", std::nullopt, 99));
    store.save(receipt("march, taken in later", CalendarDay{2026, 3, 1}, 20));
    store.save(receipt("before 1970", CalendarDay{1969, 12, 31}, 2));
    store.save(receipt("april", CalendarDay{2026, 4, 1}, 3));
    EXPECT_EQ(merchants(),
              (std::vector<std::string>{"april", "march, taken in later", "march, taken in first",
                                        "before 1970", "undated new", "undated old"}));
}

TEST_F(ReceiptStore, BringsADatabaseOfAnEarlierVersionUpToDate) {
    raw().execute(
        "CREATE TABLE receipts (id TEXT PRIMARY KEY NOT NULL, source_crumb_id TEXT, "
        "original_file_path TEXT, merchant TEXT, purchase_date REAL, total_cents INTEGER, "
        "classification TEXT NOT NULL DEFAULT 'unclassified', needs_review INTEGER NOT NULL "
        "DEFAULT 1, note TEXT NOT NULL DEFAULT '', imported_at REAL NOT NULL, modified_at REAL NOT "
        "NULL); INSERT INTO receipts (id, merchant, imported_at, modified_at) VALUES "
        "('3F2504E0-4F89-11D3-9A0C-0305E82C3301', 'old', 7, 8);");
    EXPECT_FALSE(store.openForReading());
    store.open();
    ASSERT_EQ(merchants(), std::vector<std::string>{"old"});
    EXPECT_EQ(store.load()[0].type, ReceiptType::purchase);
    EXPECT_EQ(store.load()[0].category, std::nullopt);
    CrumbReceiptStore reader(world.files, world.layout());
    EXPECT_TRUE(reader.openForReading());
    EXPECT_EQ(reader.load(), store.load());
}

TEST_F(ReceiptStore, ReadsForeignRowsWithoutTrustingThem) {
    store.open();
    raw().execute(
        "PRAGMA writable_schema=OFF;"
        "INSERT INTO receipts (id, merchant, classification, receipt_type, imported_at, "
        "modified_at) VALUES ('not an id', 'lost', 'business', 'purchase', 1, 1);"
        "INSERT INTO receipts (id, merchant, classification, receipt_type, imported_at, "
        "modified_at, purchase_date) VALUES ('3f2504e0-4f89-11d3-9a0c-0305e82c3301', "
        "CAST(x'41ff42' AS TEXT), 'Business', 'gift', 1e300, 'soon', 1e18);");
    const auto loaded = store.load();
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].merchant, "A\uFFFDB");
    EXPECT_EQ(loaded[0].classification, Classification::unclassified);
    EXPECT_EQ(loaded[0].type, ReceiptType::purchase);
    EXPECT_EQ(loaded[0].purchaseDate, std::nullopt);
    EXPECT_EQ(loaded[0].importedAt, Timestamp{0});
    EXPECT_EQ(loaded[0].modifiedAt, Timestamp{0});
}

TEST_F(ReceiptStore, KeepsACategoryOnceWhateverItsCase) {
    store.open();
    for (const char* name : {"Office", "garden", "office", "Boat"}) store.addCategory(name);
    EXPECT_EQ(store.customCategories(), (std::vector<std::string>{"Boat", "garden", "Office"}));
}

TEST_F(ReceiptStore, FailsInItsOwnWords) {
    EXPECT_EQ(failure([&] { store.load(); }),
              "Digital Coffer database error: Database unavailable");
    EXPECT_FALSE(store.openForReading());
    world.folder.write("data/Crumb/Coffer/coffer.sqlite3", std::string(4096, 'x'));
    EXPECT_EQ(failure([&] { store.open(); }),
              "Digital Coffer database error: file is not a database");
    EXPECT_EQ(failure([&] { store.save({}); }),
              "Digital Coffer database error: Database unavailable");
    std::filesystem::remove(world.layout().receiptsDatabase());
    store.open();
    EXPECT_EQ(failure([&] { store.save({}); }), "none");
    CrumbReceiptStore reader(world.files, world.layout());
    ASSERT_TRUE(reader.openForReading());
    EXPECT_EQ(failure([&] { reader.remove({}); }),
              "Digital Coffer database error: attempt to write a readonly database");
    EXPECT_EQ(reader.load().size(), 1u);
}

}  // namespace
}  // namespace nookery
