#include <utility>

#include "backends/pdf/QtPdfWriter.h"
#include "backends/reader/PdfDrawing.h"
#include "reader/Service.h"

namespace nookery {
namespace {

/// Takes what is finished of a document, to be sent away.
class OutgoingBytes final : public WritableFile {
  public:
    void write(std::span<const std::byte> bytes) override {
        bytes_.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    void sync() override {}
    void syncFileSystem() override {}
    void close() override {}

    std::string take() { return std::exchange(bytes_, {}); }

  private:
    std::string bytes_;
};

/// Draws one document over several requests.
class DrawingService final : public Service {
  public:
    void answer(const ServiceRequest& request, ServiceAnswer& answer) override {
        demandWellFormed(request.question == ReaderQuestion::drawing);
        try {
            perform(request, answer);
        } catch (...) {
            document_.reset();
            bytes_.take();
            throw;
        }
    }

  private:
    using Lines = std::vector<PdfTextLine>;

    void perform(const ServiceRequest& request, ServiceAnswer& answer) {
        FieldReader& fields = request.fields;
        if (!document_) document_ = beginPdf(bytes_, readSetup(fields));
        Lines lines;
        while (!fields.isAtEnd()) lines = draw(fields, request.pixels);
        answer.fields.text(bytes_.take());
        for (const PdfTextLine& line : lines) write(answer.fields, line);
    }

    Lines draw(FieldReader& fields, std::vector<std::uint8_t>& pixels) {
        const auto operation =
            static_cast<DrawingOperation>(fields.integer(0, drawingOperationCount - 1));
        switch (operation) {
            case DrawingOperation::beginPage:
                canvas().beginPage();
                return {};
            case DrawingOperation::breakText:
            case DrawingOperation::fitText:
                return linesOf(operation, fields);
            case DrawingOperation::drawText:
                drawText(fields);
                return {};
            case DrawingOperation::drawPicture:
                drawPicture(fields, pixels);
                return {};
            case DrawingOperation::finish:
                document_->finish();
                document_.reset();
                return {};
            default:
                drawShape(operation, fields);
                return {};
        }
    }

    Lines linesOf(DrawingOperation operation, FieldReader& fields) {
        const std::string_view text = fields.bytes(fields.restByteCount());
        const PdfFont font = readFont(fields);
        const double width = readLength(fields);
        if (operation == DrawingOperation::breakText) return canvas().breakText(text, font, width);
        return {canvas().fitText(text, font, width)};
    }

    void drawText(FieldReader& fields) {
        const PdfTextLine line = readLine(fields);
        const PdfFont font = readFont(fields);
        const PdfColor color = readColor(fields);
        const PdfPoint leftTop = readPoint(fields);
        const double width = readLength(fields);
        const auto alignment = static_cast<PdfAlignment>(fields.integer(0, 3));
        canvas().drawText(line, font, color, leftTop, width, alignment);
    }

    void drawPicture(FieldReader& fields, std::vector<std::uint8_t>& pixels) {
        constexpr int longestSide = 1 << 24;
        const Picture picture = takePicture(fields, pixels, longestSide);
        canvas().drawPicture(picture, readRectangle(fields));
    }

    void drawShape(DrawingOperation operation, FieldReader& fields) {
        if (operation == DrawingOperation::drawLine) {
            const PdfPoint from = readPoint(fields);
            const PdfPoint to = readPoint(fields);
            const double thickness = readLength(fields);
            return canvas().drawLine(from, to, thickness, readColor(fields));
        }
        const PdfRectangle rectangle = readRectangle(fields);
        if (operation == DrawingOperation::fillRectangle) {
            return canvas().fillRectangle(rectangle, readColor(fields));
        }
        const double thickness = readLength(fields);
        canvas().frameRectangle(rectangle, thickness, readColor(fields));
    }

    PdfCanvas& canvas() {
        demandWellFormed(document_ != nullptr);
        return document_->canvas();
    }

    OutgoingBytes bytes_;
    std::unique_ptr<PdfInMaking> document_;
};

}  // namespace

std::unique_ptr<Service> makeDrawingService() { return std::make_unique<DrawingService>(); }

}  // namespace nookery
