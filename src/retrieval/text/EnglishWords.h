#pragma once

#include <string>
#include <string_view>

namespace nookery {

/// The stem of an English word in lower case, by Porter's algorithm (1980): "connected" and
/// "connections" have the stem "connect". A word with any other letter than a to z, or of fewer
/// than three letters, is its own stem. Any thread.
std::string englishStem(std::string_view word);

/// Whether an English word in lower case is a function word: it carries a sentence's grammar and
/// says nothing of its subject ("the", "which", "would"). Search finds function words like all
/// others but gives them little weight, since in a small library they may be rare by chance. Any
/// thread.
bool isFunctionWord(std::string_view word);

}  // namespace nookery
