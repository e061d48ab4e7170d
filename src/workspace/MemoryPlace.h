#pragma once

#include <optional>
#include <string>

#include "records/CrumbItem.h"

namespace nookery {

/// Where a memory comes from, as far as it says: the place that an activity names, or that its
/// original holds. Coordinates stand for their surroundings, about ten kilometres wide: "48.9 N
/// 2.3 E". None where nothing is known. Costs a look at the end of the searchable text. Any thread.
std::optional<std::string> placeOf(const CrumbItem& item);

}  // namespace nookery
