#pragma once

#include <string_view>
#include <vector>

#include "platform/PdfWriter.h"

namespace nookery {

/// The pages of a field report being laid out: margins, header, footer, and text that flows from
/// page to page. Refers to the canvas.
class FieldReportPages {
  public:
    static constexpr double pageWidth = 612;
    static constexpr double pageHeight = 792;
    static constexpr double margin = 48;
    static constexpr double contentWidth = pageWidth - 2 * margin;
    /// Nothing but the footer lies below.
    static constexpr double contentBottom = pageHeight - 64;

    explicit FieldReportPages(PdfCanvas& canvas);

    void beginPage();
    std::size_t pageCount() const { return pageCount_; }

    /// Where the next thing goes.
    double top() const { return top_; }
    void skip(double points) { top_ += points; }

    struct TextStyle {
        PdfFont font;
        PdfColor color;
        double lineSpacing = 1.4;  ///< of the font's size; taller scripts take more if they must
    };
    /// Flows over as many pages as it takes; an empty line is a gap.
    void flowText(std::string_view text, const TextStyle& style);
    /// How high the text is when it is not broken by a page's end.
    double heightOf(std::string_view text, const TextStyle& style) const;
    /// A thin line over the whole width.
    void drawRule();
    /// A quiet panel for what has no picture: the label and, below it, a name.
    void drawPanel(std::string_view label, std::string_view name);
    /// The picture over the full width, or smaller where it would be higher than `maximumHeight`.
    void placePicture(const Picture& picture, double maximumHeight);

  private:
    void drawFooter();

    PdfCanvas& canvas_;
    std::size_t pageCount_ = 0;
    double top_ = margin;
};

}  // namespace nookery
