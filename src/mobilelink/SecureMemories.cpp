#include "mobilelink/SecureMemories.h"

#include <set>

namespace nookery {

bool neverLeaves(const CrumbItem& item, const FindMemory& find) {
    if (isSecure(item)) return true;
    std::set<Uuid> visited{item.id};  // records from elsewhere may name each other as sources
    auto sourceID = item.sourceItemID;
    while (sourceID && visited.insert(*sourceID).second) {
        const auto source = find(*sourceID);
        if (!source) return false;
        if (isSecure(*source)) return true;
        sourceID = source->sourceItemID;
    }
    return false;
}

}  // namespace nookery
