#include "receipts/ReceiptSummary.h"

#include <fmt/format.h>

namespace nookery {
namespace {

constexpr std::string_view notes =
    "\n\nNotes"
    "\n• Purchases add to gross recorded spending; refunds with a known amount reduce net recorded "
    "spending in the same classification."
    "\n• Returns are documentation only and never create an additional deduction, even when a "
    "separate refund also exists."
    "\n• Shipping/drop-off, service, and other records do not change spending totals."
    "\n• Store credits, exchanges, and accounting or tax treatment require accountant review."
    "\n• Unclassified purchases are shown separately; review before tax preparation."
    "\n• A receipt marked for review may still appear in totals if an amount exists."
    "\n• This is a record export, not a tax calculation or a determination of deductibility."
    "\n• Originals in Original-Receipts are copies; NOOKERY originals remain unchanged."
    "\n• Open Receipts-To-Review.csv to identify incomplete or uncertain records.";

std::string spendingLine(const ReceiptTotals& all, Classification classification) {
    const ClassificationTotals& totals = all.of(classification);
    return fmt::format("\n{}: purchases {}; refunds -{}; net {}", label(classification),
                       toText(totals.purchases), toText(totals.refunds), toText(totals.net));
}

}  // namespace

std::string receiptsSummary(const ReceiptPackage& package) {
    const ReceiptTotals& totals = package.totals;
    std::string text = "NOOKERY — RECEIPTS EXPORT\nPrepared: " + preparedTime(package.exportedAt);
    text += fmt::format("\n\nAll receipt records: {}", totals.recordCount);
    text += fmt::format("\nPurchase records: {}", totals.purchaseCount);
    text += fmt::format("\nRefund records: {}", totals.refundCount);
    text += fmt::format(
        "\nOther receipt records (including refunds, returns, shipping, service, other): {}",
        totals.otherCount());
    text += fmt::format("\nOriginal files copied: {}", package.originalsCopied);
    text += fmt::format("\nOriginal files missing: {}", package.originalsMissing);
    text += fmt::format("\nRecords with review warnings: {}", package.needReview);
    text += "\n\nRECORDED SPENDING (USD)";
    for (const Classification classification :
         {Classification::business, Classification::personal, Classification::unclassified}) {
        text += spendingLine(totals, classification);
    }
    text += notes;
    return text;
}

ReceiptExportNotice receiptExportNotice(const ReceiptPackage& package) {
    if (package.originalsMissing > 0) {
        const bool isOne = package.originalsMissing == 1;
        return {"Accountant Package Needs Attention",
                fmt::format("{} original receipt {} missing from the package. The affected records "
                            "remain included and are listed in Receipts-To-Review.csv. Locate the "
                            "missing {} before sharing with your accountant.",
                            package.originalsMissing, isOne ? "file is" : "files are",
                            isOne ? "file" : "files")};
    }
    return {"Accountant Package Ready",
            fmt::format("{} {} flagged for review. Your package is ready to share.",
                        package.needReview, package.needReview == 1 ? "record" : "records")};
}

}  // namespace nookery
