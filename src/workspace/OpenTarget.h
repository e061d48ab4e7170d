#pragma once

#include <string>

namespace nookery {

/// Every face asks here before it hands something to the desktop's opener, which understands
/// options and addresses that run programs. Throws Error for what is neither an absolute path nor
/// an http or https address: restored and hand-edited rows may hold any text.
void demandOpenable(const std::string& target);

}  // namespace nookery
