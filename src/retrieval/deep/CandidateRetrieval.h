#pragma once

#include <memory>

#include "retrieval/deep/DeepSearch.h"
#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/LexicalSnapshot.h"

namespace nookery {

/// Retrieves the deep stage's candidates for a snapshot that was just made of this index, with all
/// that the stage reads of them. Takes about a millisecond, however long the memories are. Main
/// thread.
std::shared_ptr<const DeepSearchRequest> retrieveCandidates(const LexicalIndex& index,
                                                            const VectorMatrix& vectors,
                                                            const LexicalSnapshot& snapshot,
                                                            const UsageSignals& usage,
                                                            Timestamp now);

/// The distinct tokens by which a memory can be associated with others: those of four bytes or more
/// that are associating (see isAssociating) among the first 256 of its stream.
std::vector<AssociationToken> associationTokens(const LexicalIndex& index, Ordinal ordinal);

}  // namespace nookery
