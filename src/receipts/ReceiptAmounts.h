#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Cents.h"
#include "platform/TextRecognizer.h"

namespace nookery {

/// An amount and the lines that it was taken from.
struct FoundAmount {
    Cents amount;
    std::vector<std::size_t> lines;
};

/// A receipt's lines and the amounts in them. Refers to the lines, which must outlive it.
class ReceiptAmounts {
  public:
    explicit ReceiptAmounts(std::span<const OCRLine> lines);

    std::size_t lineCount() const { return lines_.size(); }
    const std::string& lowerCasedLine(std::size_t line) const { return lowerCased_[line]; }
    /// The first amount inside the line.
    std::optional<Cents> amountIn(std::size_t line) const { return amounts_[line]; }

    /// The last amount inside the line, which may follow a tax rate.
    std::optional<Cents> lastAmountIn(std::size_t line) const;

    /// The amount that belongs to a label: one inside its own line, else one to its right on the
    /// same printed row. There a line with nothing but an amount comes first; of several, the one
    /// most level with the label.
    std::optional<FoundAmount> amountOf(std::size_t label) const;

    /// The amount of the last line that holds `label` and has one.
    std::optional<FoundAmount> amountBesideLabel(std::string_view label) const;

  private:
    bool onSameRow(std::size_t label, std::size_t other) const;
    std::optional<std::size_t> amountLineInRow(std::size_t label) const;

    std::span<const OCRLine> lines_;
    std::vector<std::string> lowerCased_;
    std::vector<std::optional<Cents>> amounts_;
};

}  // namespace nookery
