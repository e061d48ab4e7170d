#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "platform/PdfWriter.h"

namespace nookery {

/// A column's place across the page, in points.
struct PdfColumn {
    double left = 0;
    double width = 0;

    double right() const { return left + width; }
};

/// The text of one column in a row.
struct ReportCell {
    std::vector<PdfTextLine> lines;
    PdfFont font;
    PdfColumn column;
    PdfAlignment alignment = PdfAlignment::left;
};

/// The pages of the accountant report: header, footer, and the position of the next element. An
/// element that is to stay together never breaks across pages, unless it is higher than a page.
class ReportPages {
  public:
    static constexpr PdfColumn body{47, 508};

    explicit ReportPages(PdfCanvas& canvas);

    PdfCanvas& canvas() { return canvas_; }
    double top() const { return top_; }

    /// Begins a new page unless this one has so much room left.
    void demand(double height);
    void moveDown(double distance) { top_ += distance; }
    /// A table's head. While it is set, each new page begins with it.
    void repeatOnNewPages(std::function<void()> head) { head_ = std::move(head); }

    /// Draws a section's heading on the same page as the next `heightBelow` points.
    void heading(std::string_view text, double heightBelow);
    /// Draws a text over the width of a column. Pages break between its lines.
    void paragraph(std::string_view text, const PdfFont& font, PdfColor color,
                   const PdfColumn& column);
    /// Draws lines below each other from `top` on; answers where they end.
    double lines(const std::vector<PdfTextLine>& lines, const PdfFont& font, PdfColor color,
                 const PdfColumn& column, double top,
                 PdfAlignment alignment = PdfAlignment::natural);
    /// Draws a row from `top` on, the first lines of its cells on one baseline whatever their
    /// scripts; answers where it ends.
    double row(const std::vector<ReportCell>& cells, double top);
    void line(std::string_view text, const PdfFont& font, PdfColor color, const PdfColumn& column,
              double top, PdfAlignment alignment = PdfAlignment::left);
    void rule(double top, double thickness, PdfColor color);

  private:
    void beginPage();
    void drawHeaderAndFooter(std::string_view header);

    PdfCanvas& canvas_;
    int pageNumber_ = 1;
    double top_;
    std::function<void()> head_;
};

double heightOf(const std::vector<PdfTextLine>& lines);
double heightOf(const std::vector<ReportCell>& row);

namespace reportstyle {
inline constexpr PdfColor ink{33, 37, 41};
inline constexpr PdfColor faint{108, 117, 125};
inline constexpr PdfColor accent{31, 78, 121};
inline constexpr PdfColor shade{233, 238, 244};
inline constexpr PdfColor hairline{206, 212, 218};
}  // namespace reportstyle

}  // namespace nookery
