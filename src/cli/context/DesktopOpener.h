#pragma once

#include <string>

namespace nookery::cli {

/// Hands a file or address to the desktop's opener, cut off from this terminal, with the signals as
/// every program expects them, and waits until the opener has taken it. Throws Error, also for what
/// is no file and no web address.
void openOnDesktop(const std::string& target);

}  // namespace nookery::cli
