#pragma once

#include <string_view>

#include "backends/embedding/TextChunks.h"

namespace nookery::encoder {

/// Whether a prepared text may be English, judged by how well the model's English pieces fit it and
/// by its small words. Errs towards yes: a text of fewer than four words passes unless the model
/// cannot read it. docs/embedding.md has how often it is wrong.
bool mayBeEnglish(std::string_view preparedText, const TextChunks& chunks);

}  // namespace nookery::encoder
