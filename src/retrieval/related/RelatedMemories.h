#pragma once

#include <vector>

#include "retrieval/deep/VectorMatrix.h"
#include "retrieval/index/LexicalIndex.h"
#include "retrieval/related/FileFamilies.h"

namespace nookery {

/// At most this many memories are shown beside one as what it reminds of.
constexpr std::size_t relatedLimit = 12;

/// What a memory reminds of, without versions of its own file, which are shown apart:
///   - near-duplicates of its contents (TextLikeness.h), those first that share most words;
///   - then memories with whom it shares rare words (an association value of at least 0.36 by two
///     words or more), meaning (a cosine of at least 0.46) or its file's name in another format,
///     by the sum of these; newer ones first among equals.
/// No text is compared that does not share one of the memory's rare words. Main thread.
std::vector<Uuid> findRelated(const LexicalIndex& index, const VectorMatrix& vectors,
                              FileFamilies& families, const Uuid& id);

}  // namespace nookery
