#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/Error.h"

namespace nookery {

/// An amount of US money: a whole number of cents. No floating point is used. An amount that does
/// not fit into 64 bits is reported, never wrapped around.
struct Cents {
    std::int64_t count = 0;

    auto operator<=>(const Cents&) const = default;
};

/// None when the result does not fit.
[[nodiscard]] std::optional<Cents> checkedSum(Cents left, Cents right);
[[nodiscard]] std::optional<Cents> checkedDifference(Cents left, Cents right);

/// "1234.50", "-0.05": two decimals, no grouping, no currency sign.
std::string toText(Cents amount);

/// A typed amount that cannot be taken; the description says so to whoever typed it.
class AmountError : public Error {
  public:
    using Error::Error;
};

/// Reads an amount as a person types it: "$1,234.5" is 1234.50. Commas and dollar signs may stand
/// anywhere, a third decimal is rounded, halves away from zero. Blank text is no amount. Throws
/// AmountError for what is no number, is below zero or does not fit.
std::optional<Cents> parseAmountEntry(std::string_view text);

}  // namespace nookery
