#pragma once

#include <optional>
#include <string_view>

#include "foundation/Timestamp.h"

namespace nookery {

/// The first day written in digits inside the line, as Americans write days: month, day, year, or
/// year, month, day, separated by slashes or hyphens. A year of two digits is one from 1970 to
/// 2069.
std::optional<CalendarDay> receiptDateIn(std::string_view line);

}  // namespace nookery
