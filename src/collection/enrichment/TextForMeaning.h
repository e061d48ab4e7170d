#pragma once

#include <string>

#include "records/CrumbItem.h"

namespace nookery {

/// The text that stands for what a memory means: title, note, its own text and what was extracted
/// from its original, each once, without the program's internal markers.
std::string textForMeaning(const CrumbItem& item);

}  // namespace nookery
