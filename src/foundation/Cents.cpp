#include "foundation/Cents.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr const char* notAnAmount = "Enter a valid, non-negative dollar amount.";
constexpr const char* tooLarge = "This amount is too large.";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
int digitAt(std::string_view digits, std::size_t index) {
    return index < digits.size() ? digits[index] - '0' : 0;
}

/// A decimal number's digits before and after its point.
struct Decimal {
    bool isNegative = false;
    std::string_view whole;
    std::string_view fraction;

    bool isZero() const {
        const auto zero = [](char c) { return c == '0'; };
        return std::all_of(whole.begin(), whole.end(), zero) &&
               std::all_of(fraction.begin(), fraction.end(), zero);
    }
};

std::string_view takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const auto count = static_cast<std::size_t>(end - text.begin());
    const std::string_view digits = text.substr(0, count);
    text.remove_prefix(count);
    return digits;
}

std::optional<Decimal> parseDecimal(std::string_view text) {
    Decimal decimal;
    if (text.starts_with('-') || text.starts_with('+')) {
        decimal.isNegative = text.front() == '-';
        text.remove_prefix(1);
    }
    decimal.whole = takeDigits(text);
    if (text.starts_with('.')) {
        text.remove_prefix(1);
        decimal.fraction = takeDigits(text);
    }
    const bool hasDigits = !decimal.whole.empty() || !decimal.fraction.empty();
    if (!text.empty() || !hasDigits) return std::nullopt;
    return decimal;
}

Cents centsOf(const Decimal& decimal) {
    Cents amount;
    const auto append = [&amount](int digit) {
        if (__builtin_mul_overflow(amount.count, std::int64_t{10}, &amount.count) ||
            __builtin_add_overflow(amount.count, std::int64_t{digit}, &amount.count)) {
            throw AmountError(tooLarge);
        }
    };
    for (const char digit : decimal.whole) append(digit - '0');
    append(digitAt(decimal.fraction, 0));
    append(digitAt(decimal.fraction, 1));
    const int carry = digitAt(decimal.fraction, 2) >= 5 ? 1 : 0;
    const auto rounded = checkedSum(amount, {carry});
    if (!rounded) throw AmountError(tooLarge);
    return *rounded;
}

}  // namespace

std::optional<Cents> checkedSum(Cents left, Cents right) {
    Cents sum;
    if (__builtin_add_overflow(left.count, right.count, &sum.count)) return std::nullopt;
    return sum;
}

std::optional<Cents> checkedDifference(Cents left, Cents right) {
    Cents difference;
    if (__builtin_sub_overflow(left.count, right.count, &difference.count)) return std::nullopt;
    return difference;
}

std::string toText(Cents amount) {
    // The lowest number has no positive counterpart in 64 signed bits.
    const auto bits = static_cast<std::uint64_t>(amount.count);
    const std::uint64_t magnitude = amount.count < 0 ? std::uint64_t{0} - bits : bits;
    return fmt::format("{}{}.{:02}", amount.count < 0 ? "-" : "", magnitude / 100, magnitude % 100);
}

std::optional<Cents> parseAmountEntry(std::string_view text) {
    if (trimmed(text).empty()) return std::nullopt;
    std::string plain(text);
    std::erase_if(plain, [](char c) { return c == ',' || c == '$'; });
    const auto decimal = parseDecimal(trimmed(plain));
    if (!decimal || (decimal->isNegative && !decimal->isZero())) throw AmountError(notAnAmount);
    return centsOf(*decimal);
}

}  // namespace nookery
