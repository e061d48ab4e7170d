#include "receipts/ReceiptTotals.h"

#include <fmt/format.h>

namespace nookery {
namespace {

Cents demandFits(const std::optional<Cents>& sum, const CrumbReceipt& receipt) {
    if (sum) return *sum;
    throw Error(fmt::format(
        "The amounts are too large to be added up. Check the amount of the receipt {} ({}).",
        merchantOr(receipt, "without merchant"), receipt.id.toString()));
}

void add(ClassificationTotals& totals, const CrumbReceipt& receipt) {
    if (!receipt.totalCents) return;
    const Cents amount = *receipt.totalCents;
    if (receipt.type == ReceiptType::purchase) {
        totals.purchases = demandFits(checkedSum(totals.purchases, amount), receipt);
    } else if (receipt.type == ReceiptType::refund) {
        totals.refunds = demandFits(checkedSum(totals.refunds, amount), receipt);
    }
    totals.net = demandFits(checkedDifference(totals.purchases, totals.refunds), receipt);
}

}  // namespace

ReceiptTotals totalsOf(const ReceiptList& receipts) {
    ReceiptTotals totals;
    totals.recordCount = receipts.size();
    for (const auto& receipt : receipts) {
        if (receipt->type == ReceiptType::purchase) ++totals.purchaseCount;
        if (receipt->type == ReceiptType::refund) ++totals.refundCount;
        add(totals.byClassification[static_cast<std::size_t>(receipt->classification)], *receipt);
    }
    return totals;
}

Cents spendingImpact(const CrumbReceipt& receipt) {
    if (!receipt.totalCents) return {};
    if (receipt.type == ReceiptType::purchase) return *receipt.totalCents;
    if (receipt.type != ReceiptType::refund) return {};
    return demandFits(checkedDifference({}, *receipt.totalCents), receipt);
}

}  // namespace nookery
