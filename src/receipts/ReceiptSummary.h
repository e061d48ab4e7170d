#pragma once

#include <string>

#include "receipts/ReceiptPackage.h"

namespace nookery {

/// The package in words and figures, for readers without a spreadsheet program.
std::string receiptsSummary(const ReceiptPackage& package);

/// The result of an export, as windows and commands show it.
struct ReceiptExportNotice {
    std::string title;
    std::string text;
};
ReceiptExportNotice receiptExportNotice(const ReceiptPackage& package);

}  // namespace nookery
