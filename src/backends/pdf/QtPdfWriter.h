#pragma once

#include <memory>

#include "platform/PdfWriter.h"

namespace nookery {

/// Draws with Qt. Makes the application object that Qt's fonts need, without a display, at the
/// first document, unless the program has one; it lives as long as the writer.
std::unique_ptr<PdfWriter> makePdfWriter();

/// A PDF document while it is drawn: one at a time in a process.
class PdfInMaking {
  public:
    virtual ~PdfInMaking() = default;
    virtual PdfCanvas& canvas() = 0;
    /// Ends the document. Throws PdfError or FileError.
    virtual void finish() = 0;
};

/// Writes into `file` as the drawing goes on. Throws PdfError. Both arguments outlive the document.
std::unique_ptr<PdfInMaking> beginPdf(WritableFile& file, const PdfSetup& setup);

}  // namespace nookery
