#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "foundation/Uuid.h"

namespace nookery {

/// One hit in the final order.
struct RankedHit {
    Uuid id;
    double score = 0;
    std::string hint;
};

struct DeepSearchResult {
    std::vector<RankedHit> hits;  ///< highest score first; ties: newer first, then by id
    std::size_t totalCount = 0;   ///< lexical hits plus the memories admitted by similarity
};

}  // namespace nookery
