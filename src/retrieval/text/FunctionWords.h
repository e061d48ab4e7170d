#pragma once

#include <string_view>

namespace nookery {

/// Whether an English word carries a sentence's grammar and nothing of what it is about ("the",
/// "which", "would"). In a small library such words are rare by chance; they are found like any
/// other but weigh little. Lower case. Any thread.
bool isFunctionWord(std::string_view word);

}  // namespace nookery
