#include "receipts/ReceiptTotal.h"

#include <algorithm>
#include <array>

namespace nookery {
namespace {

using CrumbReceiptRecognizer::Doubt;

/// With less confidence, about half of the readings have a wrong digit.
constexpr double leastConfidence = 0.6;

bool holdsAny(const std::string& text, std::span<const std::string_view> phrases) {
    return std::any_of(phrases.begin(), phrases.end(), [&text](std::string_view phrase) {
        return text.find(phrase) != std::string::npos;
    });
}

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool holdsWord(const std::string& text, std::string_view word) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        const bool begins = at == 0 || !isWordCharacter(text[at - 1]);
        if (begins && (end == text.size() || !isWordCharacter(text[end]))) return true;
    }
    return false;
}

bool isTotalLine(const std::string& lowerCasedLine) {
    constexpr std::array<std::string_view, 4> other = {"subtotal", "sub total", "savings", "tax"};
    return holdsWord(lowerCasedLine, "total") && !holdsAny(lowerCasedLine, other);
}

/// A line with the amount that a card was charged, which is the total.
bool isCardLine(const std::string& lowerCasedLine) {
    constexpr std::array<std::string_view, 5> cards = {"visa", "mastercard", "debit", "credit",
                                                       "amex"};
    return holdsAny(lowerCasedLine, cards);
}

std::vector<FoundAmount> amountsOfTotalLines(const ReceiptAmounts& amounts) {
    std::vector<FoundAmount> found;
    for (std::size_t line = 0; line < amounts.lineCount(); ++line) {
        if (!isTotalLine(amounts.lowerCasedLine(line))) continue;
        if (auto amount = amounts.amountOf(line)) found.push_back(std::move(*amount));
    }
    return found;
}

std::optional<FoundAmount> subtotalAndSalesTax(const ReceiptAmounts& amounts) {
    auto subtotal = amounts.amountBesideLabel("subtotal");
    const auto tax = amounts.amountBesideLabel("sales tax");
    if (!subtotal || !tax) return std::nullopt;
    const auto sum = checkedSum(subtotal->amount, tax->amount);
    if (!sum) return std::nullopt;
    subtotal->amount = *sum;
    subtotal->lines.insert(subtotal->lines.end(), tax->lines.begin(), tax->lines.end());
    return subtotal;
}

bool totalLinesDisagree(const FoundAmount& total, const ReceiptAmounts& amounts) {
    const auto found = amountsOfTotalLines(amounts);
    return std::any_of(found.begin(), found.end(),
                       [&total](const FoundAmount& other) { return other.amount != total.amount; });
}

bool sumContradicts(const FoundAmount& total, const ReceiptAmounts& amounts) {
    const auto subtotal = amounts.amountBesideLabel("subtotal");
    const auto tax = amounts.amountBesideLabel("tax");
    if (!subtotal || !tax) return false;
    const auto makesTotal = [&](std::optional<Cents> taxAmount) {
        return taxAmount && checkedSum(subtotal->amount, *taxAmount) == total.amount;
    };
    // The first amount in the line may be the tax rate.
    return !makesTotal(tax->amount) && !makesTotal(amounts.lastAmountIn(tax->lines.back()));
}

bool cardContradicts(const FoundAmount& total, const ReceiptAmounts& amounts) {
    for (std::size_t line = 0; line < amounts.lineCount(); ++line) {
        if (!isCardLine(amounts.lowerCasedLine(line))) continue;
        const auto charged = amounts.amountOf(line);
        if (charged && charged->amount != total.amount) return true;
    }
    return false;
}

bool largerAmountAbove(const FoundAmount& total, const ReceiptAmounts& amounts) {
    for (std::size_t line = 0; line < total.lines.front(); ++line) {
        if (amounts.amountIn(line).value_or(Cents{}) > total.amount) return true;
    }
    return false;
}

bool poorlyRead(const FoundAmount& total, std::span<const OCRLine> lines) {
    return std::any_of(total.lines.begin(), total.lines.end(), [lines](std::size_t line) {
        return lines[line].confidence < leastConfidence;
    });
}

}  // namespace

std::optional<FoundAmount> receiptTotal(const ReceiptAmounts& amounts) {
    auto found = amountsOfTotalLines(amounts);
    if (!found.empty()) return std::move(found.back());
    return subtotalAndSalesTax(amounts);
}

std::vector<Doubt> doubtsAbout(const FoundAmount& total, const ReceiptAmounts& amounts,
                               std::span<const OCRLine> lines) {
    std::vector<Doubt> doubts;
    if (totalLinesDisagree(total, amounts)) doubts.push_back(Doubt::totalLinesDisagree);
    if (sumContradicts(total, amounts)) doubts.push_back(Doubt::sumContradictsTotal);
    if (cardContradicts(total, amounts)) doubts.push_back(Doubt::cardContradictsTotal);
    if (largerAmountAbove(total, amounts)) doubts.push_back(Doubt::largerAmountAbove);
    if (poorlyRead(total, lines)) doubts.push_back(Doubt::poorlyReadTotal);
    return doubts;
}

}  // namespace nookery
