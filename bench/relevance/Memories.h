#pragma once

#include <cstddef>
#include <vector>

#include "foundation/Uuid.h"
#include "relevance/Collection.h"
#include "retrieval/RetrievalEngine.h"

namespace nookery::relevance {

/// The record's place in its collection, as the identifier of the memory made of it, and back.
Uuid idOfRecord(std::size_t index);
std::size_t recordOfId(const Uuid& id);

/// The records as memories, all of one age.
CrumbItemList memoriesOf(const std::vector<Record>& records);
std::vector<MemoryAttributes> attributesOf(const std::vector<Record>& records);

}  // namespace nookery::relevance
