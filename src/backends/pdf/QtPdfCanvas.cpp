#include "backends/pdf/QtPdfCanvas.h"

#include <QFontMetricsF>
#include <QTextLayout>

#include "foundation/Text.h"

namespace nookery {
namespace {

constexpr int dotsPerInch = 1200;
constexpr double dotsPerPoint = dotsPerInch / 72.0;
constexpr const char* cannotCreate = "Unable to create the PDF file.";

/// Helvetica's free twin first: Qt asks the system for a substitute only when no font of the list
/// is installed. The rest has the characters that both lack. Emoji come from a font of outlines,
/// since a PDF file cannot hold coloured ones.
QStringList families() {
    return {QStringLiteral("Nimbus Sans"),      QStringLiteral("Helvetica"),
            QStringLiteral("Noto Sans"),        QStringLiteral("Noto Sans Arabic"),
            QStringLiteral("Noto Sans Hebrew"), QStringLiteral("Noto Sans CJK SC"),
            QStringLiteral("Symbola")};
}

double dots(double points) { return points * dotsPerPoint; }
double points(double deviceDots) { return deviceDots / dotsPerPoint; }

QRectF dots(const PdfRectangle& rectangle) {
    return {dots(rectangle.left), dots(rectangle.top), dots(rectangle.width),
            dots(rectangle.height)};
}

QColor deviceColor(PdfColor color) { return {color.red, color.green, color.blue}; }

/// Control characters would show as boxes.
QString shownText(std::string_view text) {
    const std::string valid = toValidUtf8(text);
    QString shown = QString::fromUtf8(valid.data(), static_cast<qsizetype>(valid.size()));
    for (QChar& character : shown) {
        if (character.category() == QChar::Other_Control && character != u'\t') character = u' ';
    }
    return shown;
}

Qt::Alignment deviceAlignment(PdfAlignment alignment, bool runsRightToLeft) {
    switch (alignment) {
        case PdfAlignment::natural:
            return runsRightToLeft ? Qt::AlignRight : Qt::AlignLeft;
        case PdfAlignment::left:
            return Qt::AlignLeft;
        case PdfAlignment::center:
            return Qt::AlignHCenter;
        case PdfAlignment::right:
            return Qt::AlignRight;
    }
    return Qt::AlignLeft;
}

QTextOption textOption(bool runsRightToLeft, QTextOption::WrapMode wrapping) {
    QTextOption option;
    option.setTextDirection(runsRightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    option.setWrapMode(wrapping);
    option.setUseDesignMetrics(true);
    return option;
}

QString withoutTrailingBlanks(const QString& text) {
    qsizetype end = text.size();
    while (end > 0 && text[end - 1].isSpace()) --end;
    return text.first(end);
}

PdfTextLine measured(const QTextLine& line, const QString& text, bool runsRightToLeft) {
    return {.text = text.toStdString(),
            .width = points(line.naturalTextWidth()),
            .ascent = points(line.ascent()),
            .descent = points(line.descent()),
            .runsRightToLeft = runsRightToLeft};
}

}  // namespace

QtPdfCanvas::QtPdfCanvas(PdfByteSink& sink, const PdfSetup& setup) : sink_(sink), writer_(&sink) {
    writer_.setResolution(dotsPerInch);
    writer_.setTitle(shownText(setup.title));
    writer_.setCreator(QStringLiteral("Nookery"));
    const QPageSize page(QSizeF(setup.pageWidth, setup.pageHeight), QPageSize::Point, {},
                         QPageSize::ExactMatch);
    if (!writer_.setPageLayout(QPageLayout(page, QPageLayout::Portrait, {})) ||
        !painter_.begin(&writer_)) {
        throw PdfError(cannotCreate);
    }
}

void QtPdfCanvas::beginPage() {
    if (!writer_.newPage()) throw PdfError(cannotCreate);
    sink_.check();
}

QFont QtPdfCanvas::deviceFont(const PdfFont& font) const {
    QFont made(families());
    made.setPointSizeF(font.size);
    made.setBold(font.face == PdfFont::Face::bold);
    return made;
}

std::vector<PdfTextLine> QtPdfCanvas::breakText(std::string_view text, const PdfFont& font,
                                                double width) const {
    std::vector<PdfTextLine> lines;
    if (text.empty()) return lines;
    for (const std::string_view paragraph : splitLines(text)) {
        // Tab stops would lie elsewhere on another screen.
        breakParagraph(shownText(paragraph).replace(u'\t', QStringLiteral("    ")), font, width,
                       lines);
    }
    return lines;
}

void QtPdfCanvas::breakParagraph(const QString& paragraph, const PdfFont& font, double width,
                                 std::vector<PdfTextLine>& lines) const {
    const bool runsRightToLeft = paragraph.isRightToLeft();
    QTextLayout layout(paragraph, deviceFont(font), &writer_);
    layout.setTextOption(textOption(runsRightToLeft, QTextOption::WrapAtWordBoundaryOrAnywhere));
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(dots(width));
        const QString text = paragraph.mid(line.textStart(), line.textLength());
        lines.push_back(measured(line, withoutTrailingBlanks(text), runsRightToLeft));
    }
    layout.endLayout();
}

PdfTextLine QtPdfCanvas::fitText(std::string_view text, const PdfFont& font, double width) const {
    QString wanted = shownText(text).trimmed();
    for (const QChar blank : {QChar(QChar::LineSeparator), QChar(QChar::ParagraphSeparator),
                              QChar(QChar::Tabulation)}) {
        wanted.replace(blank, u' ');
    }
    const QFont face = deviceFont(font);
    const QString fitted =
        QFontMetricsF(face, &writer_).elidedText(wanted, Qt::ElideRight, dots(width));
    const bool runsRightToLeft = wanted.isRightToLeft();
    QTextLayout layout(fitted, face, &writer_);
    layout.setTextOption(textOption(runsRightToLeft, QTextOption::NoWrap));
    layout.beginLayout();
    QTextLine line = layout.createLine();
    line.setLineWidth(dots(width));
    layout.endLayout();
    return measured(line, fitted, runsRightToLeft);
}

void QtPdfCanvas::drawText(const PdfTextLine& line, const PdfFont& font, PdfColor color,
                           PdfPoint leftTop, double width, PdfAlignment alignment) {
    QTextLayout layout(QString::fromStdString(line.text), deviceFont(font), &writer_);
    QTextOption option = textOption(line.runsRightToLeft, QTextOption::NoWrap);
    option.setAlignment(deviceAlignment(alignment, line.runsRightToLeft));
    layout.setTextOption(option);
    layout.beginLayout();
    layout.createLine().setLineWidth(dots(width));
    layout.endLayout();
    painter_.setPen(deviceColor(color));
    layout.draw(&painter_, {dots(leftTop.x), dots(leftTop.y)});
}

void QtPdfCanvas::drawLine(PdfPoint from, PdfPoint to, double thickness, PdfColor color) {
    painter_.setPen(QPen(deviceColor(color), dots(thickness), Qt::SolidLine, Qt::FlatCap));
    painter_.drawLine(QPointF(dots(from.x), dots(from.y)), QPointF(dots(to.x), dots(to.y)));
}

void QtPdfCanvas::fillRectangle(const PdfRectangle& rectangle, PdfColor color) {
    painter_.fillRect(dots(rectangle), deviceColor(color));
}

void QtPdfCanvas::frameRectangle(const PdfRectangle& rectangle, double thickness, PdfColor color) {
    const double half = dots(thickness) / 2;
    painter_.setBrush(Qt::NoBrush);
    painter_.setPen(
        QPen(deviceColor(color), dots(thickness), Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter_.drawRect(dots(rectangle).adjusted(half, half, -half, -half));
}

void QtPdfCanvas::drawPicture(const Picture& picture, const PdfRectangle& rectangle) {
    const QImage image(picture.pixels.data(), picture.width, picture.height, 3 * picture.width,
                       QImage::Format_RGB888);
    painter_.drawImage(dots(rectangle), image);
    sink_.check();
}

void QtPdfCanvas::finish() {
    if (!painter_.end()) throw PdfError(cannotCreate);
    sink_.finish();
}

}  // namespace nookery
