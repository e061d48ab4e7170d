#pragma once

#include "foundation/SqliteStatement.h"
#include "records/CrumbItem.h"

namespace nookery {

/// The memory in a row of the columns that `loadItems` names. Null for a row that is no memory: it
/// is left out, and stays in the file.
CrumbItemPointer itemFromRow(const SqliteStatement& row);

}  // namespace nookery
