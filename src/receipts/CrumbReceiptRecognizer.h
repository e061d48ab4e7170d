#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/Cents.h"
#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"
#include "platform/TextRecognizer.h"

namespace nookery {

struct Platform;

/// Reads receipts: the lines of text in a receipt's file, and what they say about the purchase.
namespace CrumbReceiptRecognizer {

/// Why a total that was read may be wrong.
enum class Doubt {
    totalLinesDisagree,    ///< several lines name a total, and not the same
    sumContradictsTotal,   ///< the subtotal and the tax make another amount
    cardContradictsTotal,  ///< a card was charged another amount
    largerAmountAbove,     ///< an amount printed above the total is larger
    poorlyReadTotal,       ///< the recogniser was unsure of the lines that gave the total
};

/// One line, worded for the person who checks the receipt.
std::string_view explanation(Doubt doubt);

struct Result {
    std::optional<std::string> merchant;
    std::optional<CalendarDay> purchaseDate;
    std::optional<Cents> totalCents;

    /// The lines that gave each value, as indices into the parsed lines; empty for an absent value.
    /// A total can come from several lines: a label and its amount, or a subtotal and a tax.
    std::vector<std::size_t> merchantLines;
    std::vector<std::size_t> dateLines;
    std::vector<std::size_t> totalLines;

    std::vector<Doubt> doubts;  ///< about the total; each at most once
};

/// Reads the lines, which must be in reading order. Pure; any thread.
Result parse(std::span<const OCRLine> lines);

/// The lines with the decimal points that print or camera lost. At the end of a line, two digits
/// are cents after a comma, after a point and a gap, or, in an amount with a dollar sign, after a
/// gap.
std::vector<OCRLine> withDecimalPoints(std::vector<OCRLine> lines);

/// The lines of an image, or of a PDF's first page, in reading order and with decimal points.
/// Throws RecognitionError when the file is neither or nothing can recognise text, ImageError,
/// DocumentError, FileError, or Cancelled. Any thread; takes up to a second.
std::vector<OCRLine> recognise(const Platform& platform, const Path& file, std::stop_token stop);

}  // namespace CrumbReceiptRecognizer

}  // namespace nookery
