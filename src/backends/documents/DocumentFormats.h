#pragma once

#include <memory>

#include "platform/DocumentReader.h"

namespace nookery {

/// Reads PDF, the office formats (docx, xlsx, pptx, odt, ods, odp), epub, RTF and mail messages.
/// Needs neither a display nor an application object. PDF files are read one at a time, all others
/// side by side.
std::unique_ptr<DocumentReader> makeDocumentReader();

}  // namespace nookery
