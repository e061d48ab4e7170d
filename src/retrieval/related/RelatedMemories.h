#pragma once

#include <vector>

#include "retrieval/deep/VectorMatrix.h"
#include "retrieval/index/LexicalIndex.h"
#include "retrieval/related/FileFamilies.h"

namespace nookery {

/// At most this many memories are related to one.
constexpr std::size_t relatedLimit = 12;

/// The memories related to one, best first:
///   - near-duplicates of its contents (TextSimilarity.h), by the share of common words;
///   - then memories that share rare words with it (an association value of at least 0.36 by two
///     words or more), its meaning (a cosine of at least 0.46), or its file's name in another
///     format, by the sum of these. Among equals the newer come first.
/// Versions of its own file are left out; they are shown apart. Texts without a common rare word
/// are never compared. Main thread.
std::vector<Uuid> findRelated(const LexicalIndex& index, const VectorMatrix& vectors,
                              FileFamilies& families, const Uuid& id);

}  // namespace nookery
