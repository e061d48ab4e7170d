#include "receipts/CrumbReceipt.h"

#include <algorithm>

#include "foundation/Text.h"

namespace nookery {
namespace {

template <typename Terms, typename Value>
const auto& termOf(const Terms& terms, Value value) {
    return *std::find_if(terms.begin(), terms.end(),
                         [value](const auto& term) { return term.value == value; });
}

template <typename Value, std::size_t count>
std::optional<Value> fromRawValue(const std::array<ReceiptTerm<Value>, count>& terms,
                                  std::string_view raw) {
    for (const auto& term : terms) {
        if (term.raw == raw) return term.value;
    }
    return std::nullopt;
}

}  // namespace

std::string_view rawValue(ReceiptType type) { return termOf(receiptTypes, type).raw; }
std::string_view rawValue(Classification classification) {
    return termOf(classifications, classification).raw;
}
std::string_view label(ReceiptType type) { return termOf(receiptTypes, type).label; }
std::string_view label(Classification classification) {
    return termOf(classifications, classification).label;
}

std::optional<ReceiptType> receiptTypeFromRawValue(std::string_view raw) {
    return fromRawValue(receiptTypes, raw);
}

std::optional<Classification> classificationFromRawValue(std::string_view raw) {
    return fromRawValue(classifications, raw);
}

bool countsAsExpense(const CrumbReceipt& receipt) {
    return receipt.type == ReceiptType::purchase && receipt.totalCents;
}

std::string merchantOr(const CrumbReceipt& receipt, std::string_view whenNone) {
    const std::string merchant(trimmed(receipt.merchant.value_or("")));
    return merchant.empty() ? std::string(whenNone) : merchant;
}

std::string shownAmount(const CrumbReceipt& receipt) {
    return receipt.totalCents ? "$" + toText(*receipt.totalCents) : "Amount unavailable";
}

std::string shownDate(const CrumbReceipt& receipt) {
    return receipt.purchaseDate ? toText(*receipt.purchaseDate) : "Date unavailable";
}

std::string shownMerchant(const CrumbReceipt& receipt, bool isBeingRead) {
    return isBeingRead ? "Reading receipt…" : merchantOr(receipt, "Receipt awaiting details");
}

std::string reportedMerchant(const CrumbReceipt& receipt) {
    return merchantOr(receipt, "Unknown merchant");
}

std::optional<std::string_view> documentationRemark(const CrumbReceipt& receipt) {
    if (receipt.type == ReceiptType::purchase) return std::nullopt;
    return "This receipt is retained as documentation and does not change spending totals.";
}

}  // namespace nookery
