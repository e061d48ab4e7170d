#include "support/FakePdfWriter.h"

#include <cmath>
#include <span>

#include "foundation/Text.h"

namespace nookery::testing {
namespace {

double widthOf(std::string_view text, const PdfFont& font) {
    return static_cast<double>(codePointCount(text)) * font.size / 2;
}

PdfTextLine lineOf(std::string_view text, const PdfFont& font) {
    return {.text = std::string(text),
            .width = widthOf(text, font),
            .ascent = font.size,
            .descent = font.size / 4};
}

class FakeCanvas final : public PdfCanvas {
  public:
    explicit FakeCanvas(std::vector<FakePdfWriter::Page>& pages) : pages_(pages) { beginPage(); }

    void beginPage() override { pages_.emplace_back(); }

    std::vector<PdfTextLine> breakText(std::string_view text, const PdfFont& font,
                                       double width) const override {
        std::vector<PdfTextLine> lines;
        if (text.empty()) return lines;
        for (const std::string_view paragraph : splitLines(text)) {
            std::string line;
            for (const std::string_view word : splitWhiteSpace(paragraph)) {
                const std::string longer =
                    line.empty() ? std::string(word) : line + " " + std::string(word);
                if (!line.empty() && widthOf(longer, font) > width) {
                    lines.push_back(lineOf(line, font));
                    line = word;
                } else {
                    line = longer;
                }
            }
            lines.push_back(lineOf(line, font));
        }
        return lines;
    }

    PdfTextLine fitText(std::string_view text, const PdfFont& font, double width) const override {
        const auto room = static_cast<std::size_t>(std::floor(width / (font.size / 2)));
        if (codePointCount(text) <= room) return lineOf(text, font);
        return lineOf(std::string(firstCharacters(text, room - 1)) + "…", font);
    }

    void drawText(const PdfTextLine& line, const PdfFont& font, PdfColor, PdfPoint leftTop,
                  double width, PdfAlignment) override {
        pages_.back().texts.push_back(
            {line.text, font, {leftTop.x, leftTop.y, width, line.height()}});
    }
    void drawLine(PdfPoint, PdfPoint, double, PdfColor) override {}
    void fillRectangle(const PdfRectangle&, PdfColor) override {}
    void frameRectangle(const PdfRectangle&, double, PdfColor) override {}
    void drawPicture(const Picture&, const PdfRectangle& rectangle) override {
        pages_.back().pictures.push_back(rectangle);
    }

  private:
    std::vector<FakePdfWriter::Page>& pages_;
};

}  // namespace

void FakePdfWriter::write(WritableFile& file, const PdfSetup& setup,
                          const std::function<void(PdfCanvas&)>& draw) {
    pages.clear();
    FakeCanvas canvas(pages);
    draw(canvas);
    std::string content = "%PDF " + setup.title + "\n";
    for (const Page& page : pages) {
        for (const Text& text : page.texts) content += text.text + "\n";
    }
    file.write(std::as_bytes(std::span(content)));
}

}  // namespace nookery::testing
