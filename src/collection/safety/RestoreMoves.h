#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "collection/safety/RestoreFolders.h"

namespace nookery {

/// Where, below a pending folder, the parts of the library lie that come in. The database and the
/// folder of originals must be there; where the receipts' database is not, the live receipts stay.
struct StagedLibrary {
    std::string_view database;
    std::string_view sidecar;
    std::string_view items;
    std::string_view receiptsDatabase;
    std::string_view receiptOriginals;
};

/// The moves that exchange what is live for what waits in the pending folder, in their order. What
/// is live and has no successor goes away, with what lies beside a database. Nothing is moved yet.
/// `safety` is the safety folder, below the root.
std::vector<SwapMove> restoreMoves(FileSystem& files, const RestoreFolders& folders,
                                   const StagedLibrary& staged, const std::string& safety);

}  // namespace nookery
