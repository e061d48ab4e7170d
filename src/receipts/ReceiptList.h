#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "receipts/CrumbReceipt.h"

namespace nookery {

/// Records are immutable once published, so that lists share them instead of copying.
using ReceiptPointer = std::shared_ptr<const CrumbReceipt>;
using ReceiptList = std::vector<ReceiptPointer>;

/// Whether `left` stands before `right`, as the database orders them: newest receipt date first,
/// undated ones last; ties by import, newest first.
bool standsBefore(const CrumbReceipt& left, const CrumbReceipt& right);

/// What a list is narrowed to; what is absent admits every receipt.
struct ReceiptFilter {
    std::optional<Classification> classification{};
    std::optional<ReceiptType> type{};
    /// Words that must all occur in merchant, category, note, type, date or amount, whatever their
    /// case and accents.
    std::string query{};
};

ReceiptList filtered(const ReceiptList& receipts, const ReceiptFilter& filter);

}  // namespace nookery
