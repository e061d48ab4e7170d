#include "receipts/CrumbReceiptStore.h"

#include <set>

#include "foundation/SqliteStatement.h"
#include "foundation/Text.h"
#include "receipts/ReceiptStatements.h"

namespace nookery {
namespace {

/// 0001-01-01 and 10000-01-01 UTC: the days that "yyyy-MM-dd" can express.
constexpr double firstSecond = -62135596800.0;
constexpr double endSecond = 253402300800.0;

bool isOnCalendar(Timestamp date) {
    return date.secondsSince1970 >= firstSecond && date.secondsSince1970 < endSecond;
}

/// SQLite reads the list in the order of an index, whose rows lie all over the table. Without room
/// for the table's pages it would fetch each page many times.
SqliteConnection openWithRoom(const Path& path, SqliteAccess access) {
    auto connection = SqliteConnection::open(path, access);
    connection.execute("PRAGMA cache_size=-32000;");
    return connection;
}

std::set<std::string> columnNames(SqliteConnection& connection) {
    SqliteStatement rows(connection, receiptsql::listColumns);
    std::set<std::string> names;
    while (rows.step()) names.insert(rows.string(1));
    return names;
}

bool isUpToDate(SqliteConnection& connection) {
    const auto names = columnNames(connection);
    for (const auto& column : receiptsql::addedColumns) {
        if (!names.contains(std::string(column.name))) return false;
    }
    SqliteStatement tables(connection,
                           "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?;");
    return tables.with("receipt_categories").step();
}

void createSchema(SqliteConnection& connection) {
    for (const char* setting : receiptsql::connectionSettings) connection.execute(setting);
    connection.execute(receiptsql::createReceipts);
    const auto names = columnNames(connection);
    for (const auto& column : receiptsql::addedColumns) {
        if (!names.contains(std::string(column.name))) connection.execute(column.statement);
    }
    for (const char* statement : receiptsql::createRest) connection.execute(statement);
}

std::optional<std::string> validText(const SqliteStatement& row, int column) {
    const auto text = row.text(column);
    return text ? std::optional(toValidUtf8(*text)) : std::nullopt;
}

/// A day is stored as its midnight in UTC, wherever the machine is, so that a receipt keeps its
/// date when its owner travels.
std::optional<double> storedDay(const std::optional<CalendarDay>& day) {
    if (!day) return std::nullopt;
    const auto midnight = dateFromUtc({.year = day->year, .month = day->month, .day = day->day});
    return midnight ? std::optional(midnight->secondsSince1970) : std::nullopt;
}

std::optional<CalendarDay> dayOf(const std::optional<Timestamp>& date) {
    if (!date) return std::nullopt;
    const CalendarFields fields = utcFields(*date);
    return CalendarDay{fields.year, fields.month, fields.day};
}

std::optional<Timestamp> calendarDate(const SqliteStatement& row, int column) {
    if (row.isNull(column) || !isOnCalendar(row.date(column))) return std::nullopt;
    return row.date(column);
}

/// None when the row's id is no identifier.
std::optional<CrumbReceipt> receiptFromRow(const SqliteStatement& row) {
    const auto id = row.uuid(0);
    if (!id) return std::nullopt;
    CrumbReceipt receipt;
    receipt.id = *id;
    receipt.sourceCrumbID = row.uuid(1);
    receipt.originalFilePath = row.optionalString(2);
    receipt.merchant = validText(row, 3);
    receipt.purchaseDate = dayOf(calendarDate(row, 4));
    if (!row.isNull(5)) receipt.totalCents = Cents{row.integer(5)};
    receipt.classification =
        classificationFromRawValue(row.string(6)).value_or(Classification::unclassified);
    receipt.needsReview = row.integer(7) != 0;
    receipt.note = toValidUtf8(row.string(8));
    receipt.importedAt = calendarDate(row, 9).value_or(Timestamp{});
    receipt.modifiedAt = calendarDate(row, 10).value_or(Timestamp{});
    receipt.category = validText(row, 11);
    receipt.type = receiptTypeFromRawValue(row.string(12)).value_or(ReceiptType::purchase);
    return receipt;
}

std::optional<std::int64_t> countOf(const std::optional<Cents>& amount) {
    return amount ? std::optional(amount->count) : std::nullopt;
}

}  // namespace

StoreError StoreError::database(const std::string& message) {
    return StoreError("Digital Coffer database error: " + message);
}

CrumbReceiptStore::CrumbReceiptStore(FileSystem& files, LibraryLayout layout)
    : files_(files), layout_(std::move(layout)) {}

void CrumbReceiptStore::open() {
    connection_.reset();
    createDirectories(files_, layout_.receiptOriginals());
    try {
        auto opened = openWithRoom(layout_.receiptsDatabase(), SqliteAccess::readWriteCreate);
        createSchema(opened);
        connection_ = std::move(opened);
    } catch (const DatabaseError& error) {
        throw StoreError::database(error.message());
    }
}

bool CrumbReceiptStore::openForReading() {
    connection_.reset();
    if (!files_.statusFollowingLinks(layout_.receiptsDatabase())) return false;
    try {
        auto opened = openWithRoom(layout_.receiptsDatabase(), SqliteAccess::readOnly);
        if (!isUpToDate(opened)) return false;
        connection_ = std::move(opened);
        return true;
    } catch (const DatabaseError& error) {
        throw StoreError::database(error.message());
    }
}

template <typename Work>
auto CrumbReceiptStore::withDatabase(const Work& work) {
    if (!connection_) throw StoreError::database("Database unavailable");
    try {
        return work(*connection_);
    } catch (const DatabaseError& error) {
        throw StoreError::database(error.message());
    }
}

std::vector<CrumbReceipt> CrumbReceiptStore::load() {
    return withDatabase([](SqliteConnection& connection) {
        SqliteStatement rows(connection, receiptsql::load);
        std::vector<CrumbReceipt> receipts;
        while (rows.step()) {
            if (auto receipt = receiptFromRow(rows)) receipts.push_back(std::move(*receipt));
        }
        return receipts;
    });
}

void CrumbReceiptStore::save(const CrumbReceipt& receipt) {
    withDatabase([&](SqliteConnection& connection) {
        SqliteStatement(connection, receiptsql::save)
            .with(receipt.id, receipt.sourceCrumbID, receipt.originalFilePath, receipt.merchant,
                  storedDay(receipt.purchaseDate), countOf(receipt.totalCents),
                  rawValue(receipt.classification), int{receipt.needsReview}, receipt.note,
                  receipt.importedAt, receipt.modifiedAt, receipt.category, rawValue(receipt.type))
            .run();
    });
}

void CrumbReceiptStore::remove(const Uuid& id) {
    withDatabase([&](SqliteConnection& connection) {
        SqliteStatement(connection, receiptsql::remove).with(id).run();
    });
}

std::vector<std::string> CrumbReceiptStore::customCategories() {
    return withDatabase([](SqliteConnection& connection) {
        SqliteStatement rows(connection, receiptsql::loadCategories);
        std::vector<std::string> names;
        while (rows.step()) names.push_back(toValidUtf8(rows.string(0)));
        return names;
    });
}

void CrumbReceiptStore::addCategory(const std::string& name) {
    withDatabase([&](SqliteConnection& connection) {
        SqliteStatement(connection, receiptsql::addCategory).with(name).run();
    });
}

void CrumbReceiptStore::removeCategory(const std::string& name) {
    withDatabase([&](SqliteConnection& connection) {
        SqliteStatement(connection, receiptsql::removeCategory).with(name).run();
    });
}

}  // namespace nookery
