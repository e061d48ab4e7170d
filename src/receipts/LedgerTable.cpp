#include "receipts/LedgerTable.h"

#include <fmt/format.h>

#include <algorithm>

#include "foundation/Text.h"

namespace nookery {
namespace {

using namespace reportstyle;

constexpr PdfColumn dateColumn{47, 62};
constexpr PdfColumn merchantColumn{112, 113};
constexpr PdfColumn typeColumn{230, 73};
constexpr PdfColumn classColumn{307, 67};
constexpr PdfColumn categoryColumn{378, 91};
constexpr PdfColumn amountColumn{478, 77};
constexpr PdfColumn detailColumn{112, 443};

constexpr PdfFont cellFont{.size = 8};
constexpr PdfFont merchantFont{.size = 8, .face = PdfFont::Face::bold};
constexpr PdfFont headFont{.size = 8, .face = PdfFont::Face::bold};
constexpr PdfFont detailFont{.size = 6.5};
/// So small that any amount fits on one line: one broken in two would look like a smaller one.
constexpr PdfFont longAmountFont = detailFont;
constexpr double headHeight = 16;
constexpr double padding = 4;
constexpr double detailGap = 1.5;

/// With these limits every row fits on a page; the spreadsheet has the whole text.
constexpr std::size_t mostCellLines = 12;
constexpr std::size_t mostNoteLines = 20;

std::string_view effectOf(const CrumbReceipt& receipt) {
    if (receipt.type == ReceiptType::purchase) return "Purchase (+)";
    return receipt.type == ReceiptType::refund ? "Refund (-)" : "Documentation";
}

std::string detailOf(const CrumbReceipt& receipt) {
    return fmt::format("ID: {}   •   {}   •   {}", receipt.id.toString(), effectOf(receipt),
                       receipt.needsReview ? "Review required" : "Reviewed");
}

}  // namespace

/// A record's texts, broken into lines that fit their columns.
struct LedgerTable::Row {
    std::vector<ReportCell> cells;
    Lines detail, note;

    double height() const {
        return padding + heightOf(cells) + detailGap + heightOf(detail) + heightOf(note) + padding;
    }
};

void LedgerTable::draw(const std::vector<ReceiptPackage::Row>& rows) {
    drawHead();
    pages_.repeatOnNewPages([this] { drawHead(); });
    for (const auto& row : rows) drawRow(*row.receipt);
    pages_.repeatOnNewPages({});
}

void LedgerTable::drawHead() {
    pages_.canvas().fillRectangle(
        {ReportPages::body.left - 3, pages_.top(), ReportPages::body.width + 6, headHeight}, shade);
    const double top = pages_.top() + 3;
    const auto name = [&](std::string_view text, const PdfColumn& column,
                          PdfAlignment alignment = PdfAlignment::left) {
        pages_.line(text, headFont, accent, column, top, alignment);
    };
    name("Date", dateColumn);
    name("Merchant", merchantColumn);
    name("Type", typeColumn);
    name("Class", classColumn);
    name("Category", categoryColumn);
    name("Amount", amountColumn, PdfAlignment::right);
    pages_.moveDown(headHeight);
}

void LedgerTable::drawRow(const CrumbReceipt& receipt) {
    const Row row = rowOf(receipt);
    pages_.demand(row.height());
    const double below = pages_.row(row.cells, pages_.top() + padding) + detailGap;
    const double noteTop = pages_.lines(row.detail, detailFont, faint, detailColumn, below);
    pages_.lines(row.note, detailFont, faint, detailColumn, noteTop);
    pages_.moveDown(row.height());
    pages_.rule(pages_.top(), 0.4, hairline);
}

LedgerTable::Row LedgerTable::rowOf(const CrumbReceipt& receipt) {
    const auto cell = [this](const std::string& text, const PdfFont& font,
                             const PdfColumn& column) {
        return ReportCell{broken(text, font, column, mostCellLines), font, column};
    };
    const auto sharedCell = [this](std::string_view text, const PdfColumn& column) {
        return ReportCell{brokenOnce(std::string(text), column), cellFont, column};
    };
    Row row;
    row.cells = {cell(shownDate(receipt), cellFont, dateColumn),
                 cell(reportedMerchant(receipt), merchantFont, merchantColumn),
                 sharedCell(label(receipt.type), typeColumn),
                 sharedCell(label(receipt.classification), classColumn),
                 sharedCell(receipt.category.value_or(""), categoryColumn),
                 cell(shownAmount(receipt), cellFont, amountColumn)};
    if (row.cells.back().lines.size() > 1) {
        row.cells.back() = cell(shownAmount(receipt), longAmountFont, amountColumn);
    }
    row.cells.back().alignment = PdfAlignment::right;
    row.detail = broken(detailOf(receipt), detailFont, detailColumn, 2);
    const std::string_view note = trimmed(receipt.note);
    if (!note.empty()) {
        row.note = broken(fmt::format("Note: {}", note), detailFont, detailColumn, mostNoteLines);
    }
    return row;
}

/// Cuts the text after the last allowed line and marks the cut with "…".
LedgerTable::Lines LedgerTable::broken(std::string_view text, const PdfFont& font,
                                       const PdfColumn& column, std::size_t mostLines) {
    constexpr std::size_t plentyForALine = 400;
    const std::string_view start = firstCharacters(text, mostLines * plentyForALine);
    Lines lines = pages_.canvas().breakText(start, font, column.width);
    if (lines.size() <= mostLines && start.size() == text.size()) return lines;
    lines.resize(std::min(lines.size(), mostLines));
    lines.back() = pages_.canvas().fitText(lines.back().text + " …", font, column.width);
    return lines;
}

const LedgerTable::Lines& LedgerTable::brokenOnce(const std::string& text,
                                                  const PdfColumn& column) {
    const std::string key = fmt::format("{}:{}", column.left, text);
    if (const auto known = shared_.find(key); known != shared_.end()) return known->second;
    return shared_.emplace(key, broken(text, cellFont, column, mostCellLines)).first->second;
}

}  // namespace nookery
