#pragma once

#include <string>
#include <string_view>

namespace nookery {

/// The stem of an English word in lower case by Porter's algorithm (1980): "connected" and
/// "connections" have the stem "connect". Words of other letters, and those of fewer than three,
/// are their own stems. Any thread.
std::string englishStem(std::string_view word);

}  // namespace nookery
