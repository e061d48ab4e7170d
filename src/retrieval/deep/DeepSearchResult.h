#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "records/CrumbItem.h"

namespace nookery {

/// One hit in the final order.
struct RankedHit {
    Uuid id;
    double score = 0;
    std::string hint;
    CrumbItemPointer item{};  ///< the memory as it was searched
};

struct DeepSearchResult {
    std::vector<RankedHit> hits;  ///< highest score first; ties: newer first, then by id
    std::size_t totalCount = 0;   ///< lexical hits plus the memories admitted by similarity
};

}  // namespace nookery
