#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "receipts/CrumbReceipt.h"

namespace nookery {

/// A published record never changes, so that lists share records instead of copying them.
using ReceiptPointer = std::shared_ptr<const CrumbReceipt>;
using ReceiptList = std::vector<ReceiptPointer>;

/// Whether `left` stands before `right`, as the database orders them: newest receipt date first,
/// undated ones last; ties by import, newest first.
bool standsBefore(const CrumbReceipt& left, const CrumbReceipt& right);

/// The filter of a list. An absent value admits every receipt.
struct ReceiptFilter {
    std::optional<Classification> classification{};
    std::optional<ReceiptType> type{};
    /// Words that must all occur in merchant, category, note, type, date or amount. Case and
    /// accents do not matter.
    std::string query{};
};

ReceiptList filtered(const ReceiptList& receipts, const ReceiptFilter& filter);

}  // namespace nookery
