#pragma once

#include <memory>

#include "foundation/FileSystem.h"
#include "platform/TextRecognizer.h"

namespace nookery {

/// Tesseract with its English data; null when the data is not installed.
std::unique_ptr<TextRecognizer> makeTextRecognizer(FileSystem& files);

}  // namespace nookery
