#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Cents.h"
#include "foundation/Timestamp.h"
#include "foundation/Uuid.h"

namespace nookery {

enum class ReceiptType { purchase, returnReceipt, refund, shippingDropoff, service, other };
enum class Classification { unclassified, business, personal };

/// A value of an enumeration with the text that is stored and the one that people read.
template <typename Value>
struct ReceiptTerm {
    Value value;
    std::string_view raw;
    std::string_view label;
};

/// Pickers show them in this order.
inline constexpr std::array receiptTypes{
    ReceiptTerm<ReceiptType>{ReceiptType::purchase, "purchase", "Purchase"},
    ReceiptTerm<ReceiptType>{ReceiptType::returnReceipt, "return", "Return"},
    ReceiptTerm<ReceiptType>{ReceiptType::refund, "refund", "Refund"},
    ReceiptTerm<ReceiptType>{ReceiptType::shippingDropoff, "shipping_dropoff",
                             "Shipping / Drop-off"},
    ReceiptTerm<ReceiptType>{ReceiptType::service, "service", "Service"},
    ReceiptTerm<ReceiptType>{ReceiptType::other, "other", "Other"},
};
inline constexpr std::array classifications{
    ReceiptTerm<Classification>{Classification::unclassified, "unclassified", "Unclassified"},
    ReceiptTerm<Classification>{Classification::business, "business", "Business"},
    ReceiptTerm<Classification>{Classification::personal, "personal", "Personal"},
};

std::string_view rawValue(ReceiptType type);
std::string_view rawValue(Classification classification);
std::string_view label(ReceiptType type);
std::string_view label(Classification classification);
/// Exact match of a raw value; anything else yields none.
std::optional<ReceiptType> receiptTypeFromRawValue(std::string_view raw);
std::optional<Classification> classificationFromRawValue(std::string_view raw);

/// The categories that every library has, in this order; the user adds others.
inline constexpr std::array<std::string_view, 10> builtInCategories{
    "Computer & Technology",
    "Office",
    "Vehicle",
    "Travel",
    "Meals",
    "Equipment",
    "Home",
    "Medical",
    "Education",
    "Other",
};

/// One receipt. A plain value: to change one, change a copy and save it through the store.
struct CrumbReceipt {
    Uuid id;
    ReceiptType type = ReceiptType::purchase;
    std::optional<Uuid> sourceCrumbID;            ///< the memory it was taken from; may be gone
    std::optional<std::string> originalFilePath;  ///< its own preserved copy, an absolute path
    std::optional<std::string> merchant;
    std::optional<CalendarDay> purchaseDate;
    std::optional<Cents> totalCents;
    Classification classification = Classification::unclassified;
    std::optional<std::string> category;
    bool needsReview = true;
    std::string note;
    Timestamp importedAt;
    Timestamp modifiedAt;

    bool operator==(const CrumbReceipt&) const = default;
};

/// Whether the receipt's amount is spending: a purchase whose amount is known.
bool countsAsExpense(const CrumbReceipt& receipt);

/// The merchant without white space around it, or `whenNone` where nothing is left.
std::string merchantOr(const CrumbReceipt& receipt, std::string_view whenNone);

// The texts of a receipt in lists and details.
/// "$12.34", or "Amount unavailable".
std::string shownAmount(const CrumbReceipt& receipt);
/// The day, or "Date unavailable".
std::string shownDate(const CrumbReceipt& receipt);
/// The merchant; for a record without one, what it waits for.
std::string shownMerchant(const CrumbReceipt& receipt, bool isBeingRead);
/// The merchant or "Unknown merchant", for documents that others read.
std::string reportedMerchant(const CrumbReceipt& receipt);
/// The remark beside a record whose type is no expense; none for a purchase.
std::optional<std::string_view> documentationRemark(const CrumbReceipt& receipt);

}  // namespace nookery
