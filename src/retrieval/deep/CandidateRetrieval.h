#pragma once

#include <memory>

#include "retrieval/deep/DeepSearch.h"
#include "retrieval/index/LexicalIndex.h"
#include "retrieval/lexical/LexicalSnapshot.h"

namespace nookery {

/// Gathers what the deep stage reads, for a snapshot that was just made of this index. Takes
/// about a millisecond, however long the memories are. Main thread.
std::shared_ptr<const DeepSearchRequest> gatherDeepSearch(const LexicalIndex& index,
                                                          const VectorMatrix& vectors,
                                                          const LexicalSnapshot& snapshot,
                                                          const UsageSignals& usage, Timestamp now);

/// The words by which a memory is associated with others: of its first few hundred, those of four
/// letters or more that connect (isAssociating), each once. Titles, notes, short texts and their
/// tags, people and groups are read whole.
std::vector<AssociationToken> associationTokens(const LexicalIndex& index, Ordinal ordinal);

}  // namespace nookery
