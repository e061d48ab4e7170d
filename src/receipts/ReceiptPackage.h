#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "receipts/ReceiptTotals.h"

namespace nookery {

/// The content of the accountant package. Made once; each document of the package writes it.
struct ReceiptPackage {
    struct Row {
        ReceiptPointer receipt;
        /// "Original-Receipts/NAME" in the package; none when there was no file to copy.
        std::optional<std::string> exportedOriginal;
        std::vector<std::string_view> issues;
    };

    Timestamp exportedAt;
    std::vector<Row> rows;  ///< chronological by receipt date, undated ones last
    ReceiptTotals totals;
    std::size_t originalsCopied = 0;
    std::size_t originalsMissing = 0;
    std::size_t needReview = 0;  ///< rows with at least one issue
};

/// The names of files and folders in the package.
namespace receiptpackage {
inline constexpr std::string_view folderPrefix = "NOOKERY-Receipts-Export-";
inline constexpr std::string_view originalsName = "Original-Receipts";
inline constexpr std::string_view transactionsName = "Receipts-Transactions.csv";
inline constexpr std::string_view toReviewName = "Receipts-To-Review.csv";
inline constexpr std::string_view summaryName = "Receipts-Summary.txt";
inline constexpr std::string_view reportName = "Receipts-Accountant-Report.pdf";
}  // namespace receiptpackage

/// The issues that keep a record from being complete, in the order of display.
std::vector<std::string_view> issuesOf(const CrumbReceipt& receipt, bool originalIsThere);

/// Oldest receipt date first, undated ones last; ties by import, oldest first.
ReceiptList inLedgerOrder(ReceiptList receipts);

/// The name for a copy of the receipt's original, before it is made unique: date, merchant and the
/// beginning of the id, in characters that every system takes.
std::string readableOriginalName(const CrumbReceipt& receipt);

/// "2026-03-01 09:30", local: when the package was prepared.
std::string preparedTime(Timestamp exportedAt);

}  // namespace nookery
