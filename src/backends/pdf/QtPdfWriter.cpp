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

class QtPdfWriter final : public PdfWriter {
  public:
    void write(WritableFile& file, const PdfSetup& setup,
               const std::function<void(PdfCanvas&)>& draw) override {
        application_.demand();
        if (QFontDatabase::families().isEmpty()) {
            throw PdfError("Unable to create the PDF file: no fonts are installed.");
        }
        const FixedHashSeed seed;
        PdfByteSink sink(file);
        QtPdfCanvas canvas(sink, setup);
        draw(canvas);
        canvas.finish();
    }

  private:
    OffscreenApplication application_;
};

}  // namespace

std::unique_ptr<PdfWriter> makePdfWriter() { return std::make_unique<QtPdfWriter>(); }

}  // namespace nookery
