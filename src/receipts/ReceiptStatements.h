#pragma once

#include <string_view>

/// The statements of the receipts' database.
namespace nookery::receiptsql {

inline constexpr const char* connectionSettings[] = {
    "PRAGMA journal_mode=WAL;",
    "PRAGMA foreign_keys=ON;",
};

inline constexpr const char* createReceipts =
    "CREATE TABLE IF NOT EXISTS receipts (\n"
    "    id TEXT PRIMARY KEY NOT NULL,\n"
    "    source_crumb_id TEXT,\n"
    "    original_file_path TEXT,\n"
    "    merchant TEXT,\n"
    "    purchase_date REAL,\n"
    "    total_cents INTEGER,\n"
    "    classification TEXT NOT NULL DEFAULT 'unclassified',\n"
    "    category TEXT,\n"
    "    receipt_type TEXT NOT NULL DEFAULT 'purchase',\n"
    "    needs_review INTEGER NOT NULL DEFAULT 1,\n"
    "    note TEXT NOT NULL DEFAULT '',\n"
    "    imported_at REAL NOT NULL,\n"
    "    modified_at REAL NOT NULL\n"
    ");";

inline constexpr const char* listColumns = "PRAGMA table_info(receipts);";

/// A column that earlier versions did not have.
struct AddedColumn {
    std::string_view name;
    const char* statement;
};

inline constexpr AddedColumn addedColumns[] = {
    {"category", "ALTER TABLE receipts ADD COLUMN category TEXT;"},
    {"receipt_type",
     "ALTER TABLE receipts ADD COLUMN receipt_type TEXT NOT NULL DEFAULT 'purchase';"},
};

inline constexpr const char* createRest[] = {
    "CREATE TABLE IF NOT EXISTS receipt_categories (\n"
    "    name TEXT PRIMARY KEY NOT NULL COLLATE NOCASE\n"
    ");",
    "CREATE INDEX IF NOT EXISTS idx_coffer_purchase_date\nON receipts(purchase_date DESC);",
    "CREATE INDEX IF NOT EXISTS idx_coffer_classification\nON receipts(classification);",
};

inline constexpr std::string_view load =
    "SELECT id, source_crumb_id, original_file_path, merchant,\n"
    "       purchase_date, total_cents, classification, needs_review,\n"
    "       note, imported_at, modified_at, category, receipt_type\n"
    "FROM receipts\n"
    "ORDER BY purchase_date DESC, imported_at DESC;";

inline constexpr std::string_view save =
    "INSERT INTO receipts (\n"
    "    id, source_crumb_id, original_file_path, merchant,\n"
    "    purchase_date, total_cents, classification, needs_review,\n"
    "    note, imported_at, modified_at, category, receipt_type\n"
    ") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)\n"
    "ON CONFLICT(id) DO UPDATE SET\n"
    "    source_crumb_id = excluded.source_crumb_id,\n"
    "    original_file_path = excluded.original_file_path,\n"
    "    merchant = excluded.merchant,\n"
    "    purchase_date = excluded.purchase_date,\n"
    "    total_cents = excluded.total_cents,\n"
    "    classification = excluded.classification,\n"
    "    needs_review = excluded.needs_review,\n"
    "    note = excluded.note,\n"
    "    category = excluded.category,\n"
    "    receipt_type = excluded.receipt_type,\n"
    "    modified_at = excluded.modified_at;";

inline constexpr std::string_view remove = "DELETE FROM receipts WHERE id = ?;";

inline constexpr std::string_view loadCategories =
    "SELECT name FROM receipt_categories ORDER BY name COLLATE NOCASE;";

inline constexpr std::string_view addCategory =
    "INSERT OR IGNORE INTO receipt_categories (name) VALUES (?);";

inline constexpr std::string_view removeCategory = "DELETE FROM receipt_categories WHERE name = ?;";

}  // namespace nookery::receiptsql
