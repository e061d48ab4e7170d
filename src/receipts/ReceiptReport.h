#pragma once

#include "platform/PdfWriter.h"
#include "receipts/ReceiptPackage.h"

namespace nookery {

/// Draws the accountant report: totals, inventory, the ledger of all records, records to review.
void drawReceiptReport(PdfCanvas& canvas, const ReceiptPackage& package);

}  // namespace nookery
