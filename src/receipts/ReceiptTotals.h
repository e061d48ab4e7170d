#pragma once

#include <array>
#include <cstddef>

#include "receipts/ReceiptList.h"

namespace nookery {

/// The totals of one classification's receipts.
struct ClassificationTotals {
    Cents purchases;
    Cents refunds;
    Cents net;  ///< purchases minus refunds; may be negative
};

/// Sums over receipts, made once for every place that shows them. A purchase with a known amount
/// adds to its classification's purchases, a refund to its refunds, flagged for review or not.
/// Nothing else changes a total.
struct ReceiptTotals {
    std::array<ClassificationTotals, classifications.size()> byClassification{};
    std::size_t recordCount = 0;
    std::size_t purchaseCount = 0;
    std::size_t refundCount = 0;

    const ClassificationTotals& of(Classification classification) const {
        return byClassification[static_cast<std::size_t>(classification)];
    }
    /// Refunds included.
    std::size_t otherCount() const { return recordCount - purchaseCount; }
};

/// Throws Error, naming the receipt, when a sum does not fit into 64 bits.
ReceiptTotals totalsOf(const ReceiptList& receipts);

/// What one receipt adds to its classification's net: positive for purchases, negative for
/// refunds, else zero. Throws Error when it does not fit.
Cents spendingImpact(const CrumbReceipt& receipt);

}  // namespace nookery
