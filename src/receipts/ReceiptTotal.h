#pragma once

#include <optional>
#include <vector>

#include "receipts/CrumbReceiptRecognizer.h"
#include "receipts/ReceiptAmounts.h"

namespace nookery {

/// What was paid: the amount of the last total line that has one; without any, the subtotal and
/// the sales tax together.
std::optional<FoundAmount> receiptTotal(const ReceiptAmounts& amounts);

/// What on the receipt speaks against that total.
std::vector<CrumbReceiptRecognizer::Doubt> doubtsAbout(const FoundAmount& total,
                                                       const ReceiptAmounts& amounts,
                                                       std::span<const OCRLine> lines);

}  // namespace nookery
