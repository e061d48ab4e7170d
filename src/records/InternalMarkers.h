#pragma once

#include <string>
#include <string_view>

namespace nookery {

/// Whether a text holds marks that the program itself wrote into it.
bool holdsInternalMarkers(std::string_view text);

/// A text without those marks: "mobile-note-id:" with its identifier, "__crumb_activity__" and the
/// other markers between "__crumb_" and "__".
std::string withoutInternalMarkers(std::string_view text);

}  // namespace nookery
