#include "receipts/CrumbReceiptRecognizer.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <numeric>

#include "foundation/Text.h"
#include "receipts/ReceiptDate.h"
#include "receipts/ReceiptTotal.h"

namespace nookery::CrumbReceiptRecognizer {
namespace {

constexpr std::size_t linesThatMayNameTheChain = 14;
constexpr std::size_t linesThatMayNameTheMerchant = 10;

/// A line with one of these is not the merchant's name.
constexpr std::array<std::string_view, 23> exclusions = {
    "how doers",   "get more done", "receipt", "invoice",       "thank you",  "tel:",
    "phone",       "www.",          "http",    "date:",         "order #",    "store manager",
    "lake forest", "self checkout", "sale",    "visa",          "mastercard", "subtotal",
    "total",       "tax",           "auth",    "return policy", "policy id"};

struct Merchant {
    std::string name;
    std::vector<std::size_t> lines;
};

/// This chain prints its name as a picture and its slogan as text, sometimes over several lines.
std::optional<Merchant> knownChain(const ReceiptAmounts& amounts) {
    const std::size_t count = std::min(amounts.lineCount(), linesThatMayNameTheChain);
    std::string joined;
    std::vector<std::size_t> ends;
    for (std::size_t line = 0; line < count; ++line) {
        if (line > 0) joined += ' ';
        joined += amounts.lowerCasedLine(line);
        ends.push_back(joined.size());
    }
    constexpr std::array<std::string_view, 3> phrases = {"home depot", "how doers",
                                                         "get more done"};
    for (const std::string_view phrase : phrases) {
        const std::size_t at = joined.find(phrase);
        if (at == std::string::npos) continue;
        Merchant merchant{"Home Depot", {}};
        for (std::size_t line = 0; line < count; ++line) {
            const std::size_t start = line == 0 ? 0 : ends[line - 1];
            if (start < at + phrase.size() && ends[line] > at) merchant.lines.push_back(line);
        }
        return merchant;
    }
    return std::nullopt;
}

/// From 3 to 60 characters.
bool hasLengthOfName(std::string_view text) {
    return firstCharacters(text, 2).size() < text.size() &&
           firstCharacters(text, 60).size() == text.size();
}

bool isLettersByMoreThanAThird(std::string_view text) {
    std::size_t letters = 0;
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size(); ++characters) {
        if (u_isalpha(static_cast<UChar32>(nextCodePoint(text, at)))) ++letters;
    }
    return 3 * letters > characters;
}

bool mayBeMerchant(std::string_view text, const std::string& lowerCasedText) {
    return hasLengthOfName(text) &&
           std::none_of(exclusions.begin(), exclusions.end(),
                        [&lowerCasedText](std::string_view phrase) {
                            return lowerCasedText.find(phrase) != std::string::npos;
                        }) &&
           isLettersByMoreThanAThird(text);
}

std::optional<Merchant> merchantOf(std::span<const OCRLine> lines, const ReceiptAmounts& amounts) {
    if (auto chain = knownChain(amounts)) return chain;
    const std::size_t count = std::min(lines.size(), linesThatMayNameTheMerchant);
    for (std::size_t line = 0; line < count; ++line) {
        const std::string_view text = trimmed(lines[line].text);
        if (mayBeMerchant(text, amounts.lowerCasedLine(line))) {
            return Merchant{std::string(text), {line}};
        }
    }
    return std::nullopt;
}

}  // namespace

std::string_view explanation(Doubt doubt) {
    switch (doubt) {
        case Doubt::totalLinesDisagree:
            return "Several lines name a total, and their amounts differ.";
        case Doubt::sumContradictsTotal:
            return "The subtotal and the tax do not add up to the total.";
        case Doubt::cardContradictsTotal:
            return "The amount charged to a card differs from the total.";
        case Doubt::largerAmountAbove:
            return "An amount printed above the total is larger.";
        case Doubt::poorlyReadTotal:
            return "The total was hard to read.";
    }
    return {};
}

Result parse(std::span<const OCRLine> lines) {
    const ReceiptAmounts amounts(lines);
    Result result;
    if (auto merchant = merchantOf(lines, amounts)) {
        result.merchant = std::move(merchant->name);
        result.merchantLines = std::move(merchant->lines);
    }
    for (std::size_t line = 0; line < lines.size() && !result.purchaseDate; ++line) {
        result.purchaseDate = receiptDateIn(lines[line].text);
        if (result.purchaseDate) result.dateLines = {line};
    }
    if (auto total = receiptTotal(amounts)) {
        result.totalCents = total->amount;
        result.doubts = doubtsAbout(*total, amounts, lines);
        result.totalLines = std::move(total->lines);
    }
    return result;
}

}  // namespace nookery::CrumbReceiptRecognizer
