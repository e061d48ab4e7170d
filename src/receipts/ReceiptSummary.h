#pragma once

#include <string>

#include "receipts/ReceiptPackage.h"

namespace nookery {

/// The package in words and figures, for whoever opens no spreadsheet.
std::string receiptsSummary(const ReceiptPackage& package);

/// How an export ended, in the words that windows and commands show.
struct ReceiptExportNotice {
    std::string title;
    std::string text;
};
ReceiptExportNotice receiptExportNotice(const ReceiptPackage& package);

}  // namespace nookery
