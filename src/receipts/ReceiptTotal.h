#pragma once

#include <optional>
#include <vector>

#include "receipts/CrumbReceiptRecognizer.h"
#include "receipts/ReceiptAmounts.h"

namespace nookery {

/// The amount paid: that of the last total line with an amount; without one, the sum of subtotal
/// and sales tax.
std::optional<FoundAmount> receiptTotal(const ReceiptAmounts& amounts);

/// The reasons on the receipt to doubt that total.
std::vector<CrumbReceiptRecognizer::Doubt> doubtsAbout(const FoundAmount& total,
                                                       const ReceiptAmounts& amounts,
                                                       std::span<const OCRLine> lines);

}  // namespace nookery
