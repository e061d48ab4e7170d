#include "receipts/ReceiptPackage.h"

#include <fmt/format.h>
#include <unicode/uchar.h>

#include <algorithm>

#include "foundation/FileSystem.h"
#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr std::size_t merchantByteCount = 60;
constexpr std::size_t idLength = 8;

/// Keeps the letters and digits of any script; every run of other characters becomes one hyphen. So
/// nothing is left that has a meaning to a file system or a shell, or turns the writing direction.
std::string plainWords(std::string_view text) {
    std::string words;
    bool gap = false;
    for (std::size_t position = 0; position < text.size();) {
        const char32_t point = nextCodePoint(text, position);
        const auto character = static_cast<UChar32>(point);
        const int type = u_charType(character);
        const bool isMark = type == U_NON_SPACING_MARK || type == U_COMBINING_SPACING_MARK;
        if (!u_isalnum(character) && !isMark) {
            gap = !words.empty();
            continue;
        }
        if (gap) words += '-';
        gap = false;
        appendUtf8(words, point);
    }
    return std::string(cutToBytes(words, merchantByteCount));
}

}  // namespace

std::vector<std::string_view> issuesOf(const CrumbReceipt& receipt, bool originalIsThere) {
    const bool needsAmount =
        receipt.type == ReceiptType::purchase || receipt.type == ReceiptType::refund;
    const std::pair<bool, std::string_view> all[] = {
        {receipt.needsReview, "Marked needs review"},
        {receipt.classification == Classification::unclassified, "Unclassified"},
        {merchantOr(receipt, "").empty(), "Missing merchant/provider"},
        {!receipt.purchaseDate, "Missing receipt date"},
        {needsAmount && !receipt.totalCents, "Missing purchase amount"},
        {!originalIsThere, "Original receipt file missing"},
    };
    std::vector<std::string_view> issues;
    for (const auto& [applies, issue] : all) {
        if (applies) issues.push_back(issue);
    }
    return issues;
}

ReceiptList inLedgerOrder(ReceiptList receipts) {
    const auto isUndated = [](const ReceiptPointer& receipt) { return !receipt->purchaseDate; };
    std::stable_sort(receipts.begin(), receipts.end(),
                     [&](const ReceiptPointer& left, const ReceiptPointer& right) {
                         if (isUndated(left) != isUndated(right)) return isUndated(right);
                         if (left->purchaseDate != right->purchaseDate) {
                             return left->purchaseDate < right->purchaseDate;
                         }
                         return left->importedAt < right->importedAt;
                     });
    return receipts;
}

std::string readableOriginalName(const CrumbReceipt& receipt) {
    const std::string merchant = plainWords(receipt.merchant.value_or(""));
    return fmt::format(
        "{}_{}_{}{}", receipt.purchaseDate ? toText(*receipt.purchaseDate) : "undated",
        merchant.empty() ? "receipt" : merchant, receipt.id.toString().substr(0, idLength),
        Path(*receipt.originalFilePath).extension().native());
}

std::string preparedTime(Timestamp exportedAt) {
    const CalendarFields fields = localFields(exportedAt);
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", fields.year, fields.month, fields.day,
                       fields.hour, fields.minute);
}

}  // namespace nookery
