#include "backends/reader/Isolated.h"
#include "backends/reader/PdfDrawing.h"

namespace nookery {
namespace {

/// Gathers what is drawn, and sends it when there is much of it or when the drawing has to wait for
/// an answer.
class RemoteCanvas final : public PdfCanvas {
  public:
    RemoteCanvas(ReaderPool& pool, WritableFile& file, const PdfSetup& setup)
        : conversation_(pool, ReaderSubject::drawing), file_(file) {
        write(waiting_, setup);
    }

    void beginPage() override { begin(DrawingOperation::beginPage); }

    std::vector<PdfTextLine> breakText(std::string_view text, const PdfFont& font,
                                       double width) const override {
        return asked(DrawingOperation::breakText, text, font, width);
    }

    PdfTextLine fitText(std::string_view text, const PdfFont& font, double width) const override {
        auto lines = asked(DrawingOperation::fitText, text, font, width);
        if (lines.size() != 1) fail(ReaderFault(ReaderFault::Cause::answeredNonsense));
        return std::move(lines.front());
    }

    void drawText(const PdfTextLine& line, const PdfFont& font, PdfColor color, PdfPoint leftTop,
                  double width, PdfAlignment alignment) override {
        begin(DrawingOperation::drawText);
        write(waiting_, line);
        write(waiting_, font);
        write(waiting_, color);
        write(waiting_, leftTop);
        waiting_.real(width).integer(static_cast<int>(alignment));
    }

    void drawLine(PdfPoint from, PdfPoint to, double thickness, PdfColor color) override {
        begin(DrawingOperation::drawLine);
        write(waiting_, from);
        write(waiting_, to);
        waiting_.real(thickness);
        write(waiting_, color);
    }

    void fillRectangle(const PdfRectangle& rectangle, PdfColor color) override {
        begin(DrawingOperation::fillRectangle);
        write(waiting_, rectangle);
        write(waiting_, color);
    }

    void frameRectangle(const PdfRectangle& rectangle, double thickness, PdfColor color) override {
        begin(DrawingOperation::frameRectangle);
        write(waiting_, rectangle);
        waiting_.real(thickness);
        write(waiting_, color);
    }

    void drawPicture(const Picture& picture, const PdfRectangle& rectangle) override {
        begin(DrawingOperation::drawPicture);
        writeSize(waiting_, picture);
        write(waiting_, rectangle);
        send(picture.pixels);
    }

    void finish() {
        begin(DrawingOperation::finish);
        send({});
        conversation_.finish();
    }

  private:
    static constexpr std::size_t muchByteCount = std::size_t{256} << 10;
    static constexpr std::size_t longestAnswer = std::size_t{256} << 20;

    void begin(DrawingOperation operation) const {
        if (waiting_.fields().size() >= muchByteCount) send({});
        waiting_.integer(static_cast<int>(operation));
    }

    std::vector<PdfTextLine> asked(DrawingOperation operation, std::string_view text,
                                   const PdfFont& font, double width) const {
        begin(operation);
        waiting_.text(text);
        write(waiting_, font);
        waiting_.real(width);
        return send({});
    }

    /// Writes what is finished of the document; returns the lines that the last operation made.
    std::vector<PdfTextLine> send(std::span<const std::uint8_t> pixels) const {
        try {
            ReaderMessage answer = conversation_.ask({.question = ReaderQuestion::drawing,
                                                      .fields = waiting_.take(),
                                                      .pixels = pixels,
                                                      .answer = {longestAnswer}});
            waiting_ = FieldWriter();
            FieldReader fields(answer.fields);
            file_.write(std::as_bytes(std::span(fields.bytes(longestAnswer))));
            std::vector<PdfTextLine> lines;
            while (!fields.isAtEnd()) lines.push_back(readLine(fields));
            return lines;
        } catch (const ReaderFault& fault) {
            fail(fault);
        } catch (const MalformedMessage&) {
            fail(ReaderFault(ReaderFault::Cause::answeredNonsense));
        }
    }

    [[noreturn]] static void fail(const ReaderFault& fault) {
        throw PdfError("The PDF file " + fault.clause());
    }

    // Breaking a text changes nothing that the caller can see.
    mutable ReaderConversation conversation_;
    mutable FieldWriter waiting_;
    WritableFile& file_;
};

class IsolatedPdfWriter final : public PdfWriter {
  public:
    explicit IsolatedPdfWriter(ReaderPool& pool) : pool_(pool) {}

    void write(WritableFile& file, const PdfSetup& setup,
               const std::function<void(PdfCanvas&)>& draw) override {
        RemoteCanvas canvas(pool_, file, setup);
        draw(canvas);
        canvas.finish();
    }

  private:
    ReaderPool& pool_;
};

}  // namespace

std::unique_ptr<PdfWriter> makeIsolatedPdfWriter(ReaderPool& pool) {
    return std::make_unique<IsolatedPdfWriter>(pool);
}

}  // namespace nookery
