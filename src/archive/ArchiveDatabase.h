#pragma once

#include <stop_token>

#include "foundation/FileSystem.h"

namespace nookery {

/// Copies a database that may be in use into a new file of its own, whole without companions.
/// Throws ArchiveError or Cancelled; the copy is of no use then.
void snapshotDatabase(FileSystem& files, const Path& live, const Path& copy, std::stop_token stop);

/// Holds an archived database against SQLite's own check, and refuses what no database of this
/// program has (triggers, views, virtual tables) and one that lacks `probe`, a query that the
/// database must be able to answer. Touches nothing beside the file. Throws RestoreError.
void checkArchivedDatabase(const Path& path, const char* probe);

/// What the collection's database and the receipts' must be able to answer.
inline constexpr const char* collectionProbe = "SELECT id, file_path FROM crumbs LIMIT 1;";
inline constexpr const char* receiptsProbe = "SELECT id, original_file_path FROM receipts LIMIT 1;";

}  // namespace nookery
