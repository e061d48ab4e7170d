#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/TextEmbedder.h"
#include "relevance/Collection.h"

namespace nookery::relevance {

using Vector = std::vector<float>;

/// The embedder beside this program; none when the set-up could not make its asset.
std::unique_ptr<TextEmbedder> openEmbedder();

/// What is embedded of a record: title, note and text.
std::string embeddedText(const Record& record);

/// The vectors of all records, empty for one that has none. 64,000 short records take minutes;
/// when `folder` is not empty they are kept there for the next run.
std::vector<Vector> vectorsOf(const TextEmbedder& embedder, const Collection& collection,
                              const std::string& folder);

}  // namespace nookery::relevance
