#include "receipts/ReceiptReport.h"

#include <fmt/format.h>

#include <array>

#include "receipts/LedgerTable.h"

namespace nookery {
namespace {

using namespace reportstyle;

constexpr PdfFont titleFont{.size = 22, .face = PdfFont::Face::bold};
constexpr PdfFont textFont{.size = 9};
constexpr PdfFont boldFont{.size = 9, .face = PdfFont::Face::bold};
constexpr PdfFont smallFont{.size = 7};
constexpr PdfColumn labelColumn{47, 250};
constexpr PdfColumn figureColumn{300, 110};
constexpr PdfColumn entryColumn{47, 305};
constexpr PdfColumn entryDateColumn{355, 80};
constexpr PdfColumn entryAmountColumn{440, 115};  ///< any amount fits
constexpr PdfColumn bulletColumn{47, 10};
constexpr PdfColumn noteColumn{57, 498};
constexpr double rowHeight = 15;
constexpr double lineSpacing = 3;

constexpr std::array accountingNotes{
    "Purchases add to gross spending. Refunds reduce net recorded spending in their "
    "classification.",
    "Returns document an event; they do not create a separate deduction.",
    "Shipping/drop-off, service and other records do not change spending totals.",
    "Store credits, exchanges, and accounting or tax treatment require accountant review.",
    "Unclassified purchases are shown separately and should be reviewed.",
    "Records marked for review may still contribute to totals if their amount is known.",
    "This report is a record export, not a tax calculation or a determination of deductibility.",
    "Original-Receipts contains copies. The saved NOOKERY originals are unchanged.",
    "Receipts-Transactions.csv contains complete IDs, notes, and original-file references.",
};

class ReceiptReport {
  public:
    ReceiptReport(PdfCanvas& canvas, const ReceiptPackage& package)
        : pages_(canvas), package_(package) {}

    void draw() {
        drawTitle();
        drawFinancialSummary();
        drawInventory();
        drawLedger();
        drawReview();
        drawNotes();
    }

  private:
    void drawTitle() {
        pages_.line("ACCOUNTANT REPORT", titleFont, ink, ReportPages::body, pages_.top() + 4);
        pages_.moveDown(34);
        pages_.line("Prepared: " + preparedTime(package_.exportedAt), textFont, faint,
                    ReportPages::body, pages_.top());
        pages_.moveDown(14);
    }

    void drawFigure(const std::string& name, const std::string& figure, bool isSum = false) {
        pages_.demand(rowHeight);
        const PdfFont& font = isSum ? boldFont : textFont;
        pages_.line(name, font, ink, labelColumn, pages_.top());
        pages_.line(figure, font, ink, figureColumn, pages_.top(), PdfAlignment::right);
        pages_.moveDown(rowHeight);
        if (isSum) {
            pages_.canvas().drawLine({labelColumn.left, pages_.top() - 2},
                                     {figureColumn.right(), pages_.top() - 2}, 0.4, hairline);
            pages_.moveDown(2);
        }
    }

    void drawFinancialSummary() {
        pages_.heading("Financial summary (USD)", rowHeight * 9);
        for (const Classification classification :
             {Classification::business, Classification::personal, Classification::unclassified}) {
            const ClassificationTotals& totals = package_.totals.of(classification);
            const std::string name(label(classification));
            const bool hasRefunds = totals.refunds != Cents{};
            drawFigure(name + " purchases", toText(totals.purchases));
            drawFigure(name + " refunds", (hasRefunds ? "-" : "") + toText(totals.refunds));
            drawFigure(name + " net", toText(totals.net), true);
        }
    }

    void drawInventory() {
        pages_.heading("Package inventory", rowHeight * 5);
        const std::pair<const char*, std::size_t> counts[] = {
            {"Purchase records", package_.totals.purchaseCount},
            {"Refund records", package_.totals.refundCount},
            {"Other receipt records", package_.totals.otherCount()},
            {"Original files copied", package_.originalsCopied},
            {"Records requiring review", package_.needReview},
        };
        for (const auto& [name, count] : counts) drawFigure(name, std::to_string(count));
    }

    void drawLedger() {
        constexpr double headAndOneRow = 60;
        pages_.heading("Transaction ledger", headAndOneRow);
        if (package_.rows.empty()) {
            pages_.paragraph("No receipt records were included in this export.", textFont, ink,
                             ReportPages::body);
            return;
        }
        LedgerTable(pages_).draw(package_.rows);
    }

    void drawReview() {
        constexpr double oneEntry = 40;
        pages_.heading("Items requiring review", oneEntry);
        if (package_.needReview == 0) {
            pages_.paragraph("No records were flagged for review.", textFont, ink,
                             ReportPages::body);
        }
        for (const auto& row : package_.rows) {
            if (!row.issues.empty()) drawReviewEntry(row);
        }
    }

    void drawReviewEntry(const ReceiptPackage::Row& row) {
        const CrumbReceipt& receipt = *row.receipt;
        const auto issues = pages_.canvas().breakText(
            fmt::format("{}", fmt::join(row.issues, " • ")), textFont, ReportPages::body.width);
        const auto cell = [&](const std::string& text, const PdfFont& font, const PdfColumn& column,
                              PdfAlignment alignment) {
            return ReportCell{
                {pages_.canvas().fitText(text, font, column.width)}, font, column, alignment};
        };
        const std::vector<ReportCell> title{
            cell(reportedMerchant(receipt), boldFont, entryColumn, PdfAlignment::left),
            cell(shownDate(receipt), textFont, entryDateColumn, PdfAlignment::right),
            cell(shownAmount(receipt), textFont, entryAmountColumn, PdfAlignment::right)};
        const auto id = pages_.canvas().fitText("ID: " + receipt.id.toString(), smallFont,
                                                ReportPages::body.width);
        const double height = heightOf(title) + heightOf(issues) + id.height() + 2 * lineSpacing;
        pages_.demand(height);
        const double below = pages_.lines(issues, textFont, ink, ReportPages::body,
                                          pages_.row(title, pages_.top() + lineSpacing));
        pages_.lines({id}, smallFont, faint, ReportPages::body, below);
        pages_.moveDown(height);
        pages_.rule(pages_.top(), 0.4, hairline);
    }

    void drawNotes() {
        constexpr double noteHeight = 16;
        pages_.heading("Important accounting notes", noteHeight * accountingNotes.size());
        for (const char* note : accountingNotes) {
            pages_.demand(noteHeight);
            pages_.line("•", textFont, accent, bulletColumn, pages_.top());
            pages_.paragraph(note, textFont, ink, noteColumn);
            pages_.moveDown(lineSpacing);
        }
    }

    ReportPages pages_;
    const ReceiptPackage& package_;
};

}  // namespace

void drawReceiptReport(PdfCanvas& canvas, const ReceiptPackage& package) {
    ReceiptReport(canvas, package).draw();
}

}  // namespace nookery
