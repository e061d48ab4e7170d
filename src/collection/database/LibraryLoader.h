#pragma once

#include <string>

#include "platform/Platform.h"
#include "records/CrumbItem.h"
#include "records/LibraryLayout.h"

namespace nookery {

class SQLiteDatabase;

/// Takes the memories of the legacy library file into an empty database, once: the file is then
/// moved aside, over an older one that lies there. A database that holds anything leaves the file
/// untouched. A file that cannot be read or decoded throws and stays, for the next start to try
/// again; nothing is saved then. A failure to move it aside is logged only, since the memories are
/// saved.
void migrateLegacyFile(SQLiteDatabase& database, const LibraryLayout& layout,
                       const Platform& platform);

/// Removes the leftovers of writes that a killed process did not finish: temporary files and
/// folders in the library folder and in `Items`. Failures are logged.
void removeInterruptedWrites(const LibraryLayout& layout, const Platform& platform);

}  // namespace nookery
