#pragma once

#include <memory>

#include "platform/PageReader.h"

namespace nookery {

// These read PDF documents in processes of their own, with a bound on time and memory. A document
// that crashes the PDF library, or keeps it busy for ever, cannot be read, but does the program no
// harm. The processes run `program`, whose main function must know `pdfServiceArgument`
// (PdfService.h).

/// As `inner`, which reads all other formats.
std::unique_ptr<DocumentReader> makeIsolatedDocuments(std::unique_ptr<DocumentReader> inner,
                                                      Path program);
std::unique_ptr<PageReader> makeIsolatedPages(Path program);

}  // namespace nookery
