#pragma once

#include <map>
#include <string>

#include "receipts/ReceiptPackage.h"
#include "receipts/ReportPages.h"

namespace nookery {

/// The table of all records. Each page repeats its head; no row breaks across pages.
class LedgerTable {
  public:
    explicit LedgerTable(ReportPages& pages) : pages_(pages) {}

    void draw(const std::vector<ReceiptPackage::Row>& rows);

  private:
    using Lines = std::vector<PdfTextLine>;
    struct Row;

    void drawHead();
    void drawRow(const CrumbReceipt& receipt);
    Row rowOf(const CrumbReceipt& receipt);
    Lines broken(std::string_view text, const PdfFont& font, const PdfColumn& column,
                 std::size_t mostLines);
    /// For texts that many rows share.
    const Lines& brokenOnce(const std::string& text, const PdfColumn& column);

    ReportPages& pages_;
    std::map<std::string, Lines> shared_;
};

}  // namespace nookery
