#pragma once

#include <memory>

#include "platform/PageReader.h"

namespace nookery {

// What reads PDF documents here does so in processes of its own, with a bound on their work and
// memory: a document that breaks the PDF library, or keeps it busy for ever, is one that cannot be
// read, and takes nothing of the program with it. `program` is started for that; its main function
// must know `pdfServiceArgument` (PdfService.h).

/// As `inner`, which reads all other formats.
std::unique_ptr<DocumentReader> makeIsolatedDocuments(std::unique_ptr<DocumentReader> inner,
                                                      Path program);
std::unique_ptr<PageReader> makeIsolatedPages(Path program);

}  // namespace nookery
