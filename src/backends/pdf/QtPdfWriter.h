#pragma once

#include <memory>

#include "platform/PdfWriter.h"

namespace nookery {

/// Draws with Qt. Makes the application object that Qt's fonts need, without a display, at the
/// first document, unless the program has one; it lives as long as the writer.
std::unique_ptr<PdfWriter> makePdfWriter();

}  // namespace nookery
