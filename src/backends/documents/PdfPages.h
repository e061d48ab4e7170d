#pragma once

#include <memory>

#include "platform/PageReader.h"

namespace nookery {

/// PDFium, through Qt.
std::unique_ptr<PageReader> makePdfPages();

}  // namespace nookery
