#include "receipts/ReceiptSpreadsheets.h"

#include <fmt/format.h>

#include "receipts/CsvWriter.h"

namespace nookery {
namespace {

std::string_view yesOrNo(bool value) { return value ? "Yes" : "No"; }

}  // namespace

void writeTransactions(const ReceiptPackage& package, const ByteSink& sink) {
    CsvWriter csv(sink);
    csv.row({"Receipt ID", "Receipt Date", "Imported Date", "Merchant / Provider", "Receipt Type",
             "Classification", "Category", "Amount (USD)", "Counts as Expense", "Needs Review",
             "Notes", "Original File", "Spending Impact (USD)"});
    for (const auto& [pointer, exportedOriginal, issues] : package.rows) {
        const CrumbReceipt& receipt = *pointer;
        csv.row({receipt.id.toString(), receipt.purchaseDate ? toText(*receipt.purchaseDate) : "",
                 toText(localDay(receipt.importedAt)), receipt.merchant.value_or(""),
                 label(receipt.type), label(receipt.classification), receipt.category.value_or(""),
                 receipt.totalCents ? toText(*receipt.totalCents) : "",
                 yesOrNo(countsAsExpense(receipt)), yesOrNo(receipt.needsReview), receipt.note,
                 exportedOriginal.value_or(""), toText(spendingImpact(receipt))});
    }
}

void writeToReview(const ReceiptPackage& package, const ByteSink& sink) {
    CsvWriter csv(sink);
    csv.row({"Receipt ID", "Merchant / Provider", "Issues"});
    for (const auto& row : package.rows) {
        if (row.issues.empty()) continue;
        csv.row({row.receipt->id.toString(), row.receipt->merchant.value_or(""),
                 fmt::format("{}", fmt::join(row.issues, "; "))});
    }
}

}  // namespace nookery
