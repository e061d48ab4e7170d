#include "fieldreports/FieldReportPages.h"

#include <algorithm>

#include "fieldreports/FieldReportStyles.h"

namespace nookery {
namespace {

namespace styles = report_styles;

/// Every page shows exactly this text.
constexpr std::string_view footerText = R"(Page \(pageNumber))";
constexpr double footerTop = FieldReportPages::pageHeight - 44;
constexpr double ruleThickness = 0.6;
constexpr double panelHeight = 96;
constexpr double panelPadding = 20;

/// The distance from one line to the next.
double stepOf(const PdfTextLine& line, const FieldReportPages::TextStyle& style) {
    return std::max(line.height(), style.font.size * style.lineSpacing);
}

}  // namespace

FieldReportPages::FieldReportPages(PdfCanvas& canvas) : canvas_(canvas), pageCount_(1) {
    drawFooter();
}

void FieldReportPages::beginPage() {
    canvas_.beginPage();
    ++pageCount_;
    top_ = margin;
    drawFooter();
}

void FieldReportPages::drawFooter() {
    const auto& style = styles::footer;
    canvas_.drawLine({margin, footerTop - 8}, {pageWidth - margin, footerTop - 8}, ruleThickness,
                     styles::hairline);
    canvas_.drawText(canvas_.fitText(footerText, style.font, contentWidth), style.font, style.color,
                     {margin, footerTop}, contentWidth, PdfAlignment::right);
}

void FieldReportPages::flowText(std::string_view text, const TextStyle& style) {
    for (const PdfTextLine& line : canvas_.breakText(text, style.font, contentWidth)) {
        const double step = stepOf(line, style);
        if (top_ + step > contentBottom) beginPage();
        canvas_.drawText(line, style.font, style.color, {margin, top_ + (step - line.height()) / 2},
                         contentWidth, PdfAlignment::natural);
        top_ += step;
    }
}

double FieldReportPages::heightOf(std::string_view text, const TextStyle& style) const {
    double height = 0;
    for (const PdfTextLine& line : canvas_.breakText(text, style.font, contentWidth)) {
        height += stepOf(line, style);
    }
    return height;
}

void FieldReportPages::drawRule() {
    canvas_.drawLine({margin, top_}, {pageWidth - margin, top_}, ruleThickness, styles::hairline);
}

void FieldReportPages::drawPanel(std::string_view label, std::string_view name) {
    const PdfRectangle panel{margin, top_, contentWidth, panelHeight};
    canvas_.fillRectangle(panel, styles::panel);
    canvas_.frameRectangle(panel, ruleThickness, styles::hairline);
    const double width = contentWidth - 2 * panelPadding;
    const double left = margin + panelPadding;
    const PdfTextLine labelLine = canvas_.fitText(label, styles::label.font, width);
    const PdfTextLine nameLine = canvas_.fitText(name, styles::value.font, width);
    const double gap = 6;
    const double height = labelLine.height() + gap + nameLine.height();
    const double labelTop = top_ + (panelHeight - height) / 2;
    canvas_.drawText(labelLine, styles::label.font, styles::accent, {left, labelTop}, width,
                     PdfAlignment::left);
    canvas_.drawText(nameLine, styles::value.font, styles::ink,
                     {left, labelTop + labelLine.height() + gap}, width, PdfAlignment::left);
    top_ += panelHeight;
}

void FieldReportPages::placePicture(const Picture& picture, double maximumHeight) {
    const double scale = std::min(contentWidth / picture.width, maximumHeight / picture.height);
    const double width = picture.width * scale;
    const PdfRectangle place{margin + (contentWidth - width) / 2, top_, width,
                             picture.height * scale};
    canvas_.drawPicture(picture, place);
    canvas_.frameRectangle(place, ruleThickness, styles::hairline);
    top_ = place.bottom();
}

}  // namespace nookery
