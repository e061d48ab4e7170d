#pragma once

#include <span>
#include <vector>

#include "collection/database/StepRecords.h"
#include "collection/store/MemoryReturn.h"

namespace nookery {

/// What a step keeps of memories that are away, as parts of its contents. Any thread.
StepRecords::Bytes encodeRows(const std::vector<KeptTable>& tables);
StepRecords::Bytes encodeAnnotations(const AnnotationsByID& annotations);

/// All parts together, without facts about originals. Throws JsonError.
ReturningMemories decodeContents(const std::vector<StepRecords::Bytes>& parts);

}  // namespace nookery
