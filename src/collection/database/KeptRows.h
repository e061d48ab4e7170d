#pragma once

#include <string>
#include <vector>

#include "foundation/SqliteStatement.h"

namespace nookery {

/// Rows of one table as they were, column by column, so that nothing of a removed memory is lost
/// because this program does not know what a column is for.
struct KeptTable {
    std::string table;
    std::vector<std::string> columns;
    std::vector<std::vector<SqliteValue>> rows;

    bool operator==(const KeptTable&) const = default;
};

}  // namespace nookery
