#include "backends/pdf/QtPdfWriter.h"

#include <QFontDatabase>
#include <QHashSeed>

#include "backends/pdf/OffscreenApplication.h"
#include "backends/pdf/QtPdfCanvas.h"

namespace nookery {
namespace {

/// Qt embeds fonts in the order of its hashes: a fixed seed keeps the order the same.
class FixedHashSeed {
  public:
    FixedHashSeed() { QHashSeed::setDeterministicGlobalSeed(); }
    ~FixedHashSeed() { QHashSeed::resetRandomGlobalSeed(); }
    FixedHashSeed(const FixedHashSeed&) = delete;
    FixedHashSeed& operator=(const FixedHashSeed&) = delete;
};

class QtPdfInMaking final : public PdfInMaking {
  public:
    QtPdfInMaking(WritableFile& file, const PdfSetup& setup) : sink_(file), canvas_(sink_, setup) {}

    PdfCanvas& canvas() override { return canvas_; }
    void finish() override { canvas_.finish(); }

  private:
    FixedHashSeed seed_;
    PdfByteSink sink_;
    QtPdfCanvas canvas_;
};

class QtPdfWriter final : public PdfWriter {
  public:
    void write(WritableFile& file, const PdfSetup& setup,
               const std::function<void(PdfCanvas&)>& draw) override {
        const auto document = beginPdf(file, setup);
        draw(document->canvas());
        document->finish();
    }
};

}  // namespace

std::unique_ptr<PdfInMaking> beginPdf(WritableFile& file, const PdfSetup& setup) {
    demandOffscreenApplication();
    if (QFontDatabase::families().isEmpty()) {
        throw PdfError("Unable to create the PDF file: no fonts are installed.");
    }
    return std::make_unique<QtPdfInMaking>(file, setup);
}

std::unique_ptr<PdfWriter> makePdfWriter() { return std::make_unique<QtPdfWriter>(); }

}  // namespace nookery
