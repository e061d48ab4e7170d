#pragma once

#include <string_view>

#include "backends/embedding/TextChunks.h"

namespace nookery::encoder {

/// Whether a prepared text may be English, judged by its small words and by how well the model's
/// English pieces fit it. In doubt the answer is yes: a text of fewer than four words passes as
/// long as the model can read it. docs/embedding.md says how often the answer is wrong.
bool mayBeEnglish(std::string_view preparedText, const TextChunks& chunks);

}  // namespace nookery::encoder
