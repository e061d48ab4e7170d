#pragma once

#include <QPainter>
#include <QPdfWriter>
#include <QString>

#include "backends/pdf/PdfByteSink.h"
#include "platform/PdfWriter.h"

namespace nookery {

/// Draws on one of Qt's PDF documents.
class QtPdfCanvas final : public PdfCanvas {
  public:
    /// Throws PdfError. The sink outlives the canvas.
    QtPdfCanvas(PdfByteSink& sink, const PdfSetup& setup);

    void beginPage() override;
    std::vector<PdfTextLine> breakText(std::string_view text, const PdfFont& font,
                                       double width) const override;
    PdfTextLine fitText(std::string_view text, const PdfFont& font, double width) const override;
    void drawText(const PdfTextLine& line, const PdfFont& font, PdfColor color, PdfPoint leftTop,
                  double width, PdfAlignment alignment) override;
    void drawLine(PdfPoint from, PdfPoint to, double thickness, PdfColor color) override;
    void fillRectangle(const PdfRectangle& rectangle, PdfColor color) override;
    void frameRectangle(const PdfRectangle& rectangle, double thickness, PdfColor color) override;
    void drawPicture(const Picture& picture, const PdfRectangle& rectangle) override;

    /// Ends the last page and the document. Throws PdfError.
    void finish();

  private:
    void breakParagraph(const QString& paragraph, const PdfFont& font, double width,
                        std::vector<PdfTextLine>& lines) const;
    QFont deviceFont(const PdfFont& font) const;

    PdfByteSink& sink_;
    QPdfWriter writer_;
    QPainter painter_;
};

}  // namespace nookery
