#pragma once

#include <string_view>
#include <vector>

#include "platform/PdfWriter.h"

namespace nookery {

/// Lays out the pages of a field report: margins, header, footer, and text that flows from page to
/// page. Refers to the canvas.
class FieldReportPages {
  public:
    static constexpr double pageWidth = 612;
    static constexpr double pageHeight = 792;
    static constexpr double margin = 48;
    static constexpr double contentWidth = pageWidth - 2 * margin;
    /// Only the footer is below this.
    static constexpr double contentBottom = pageHeight - 64;

    explicit FieldReportPages(PdfCanvas& canvas);

    void beginPage();
    std::size_t pageCount() const { return pageCount_; }

    /// The top of the next element.
    double top() const { return top_; }
    void skip(double points) { top_ += points; }

    struct TextStyle {
        PdfFont font;
        PdfColor color;
        double lineSpacing = 1.4;  ///< times the font's size; tall scripts may take more
    };
    /// Draws a text over as many pages as it needs. An empty line makes a gap.
    void flowText(std::string_view text, const TextStyle& style);
    /// The height of a text on one page.
    double heightOf(std::string_view text, const TextStyle& style) const;
    /// A thin line over the whole width.
    void drawRule();
    /// Draws a panel in place of a picture, with a label and below it a name.
    void drawPanel(std::string_view label, std::string_view name);
    /// Draws a picture over the full width, or smaller if it would be higher than `maximumHeight`.
    void placePicture(const Picture& picture, double maximumHeight);

  private:
    void drawFooter();

    PdfCanvas& canvas_;
    std::size_t pageCount_ = 0;
    double top_ = margin;
};

}  // namespace nookery
