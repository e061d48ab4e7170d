#pragma once

#include <functional>
#include <string_view>

#include "receipts/ReceiptPackage.h"

namespace nookery {

/// Takes the bytes of a document, piece by piece.
using ByteSink = std::function<void(std::string_view)>;

/// One row for each record, all records.
void writeTransactions(const ReceiptPackage& package, const ByteSink& sink);
/// One row for each record that has at least one issue.
void writeToReview(const ReceiptPackage& package, const ByteSink& sink);

}  // namespace nookery
