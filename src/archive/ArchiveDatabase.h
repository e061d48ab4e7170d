#pragma once

#include <stop_token>

#include "foundation/FileSystem.h"

namespace nookery {

/// Copies a database, which may be in use, into one new file that needs no companions. Throws
/// ArchiveError or Cancelled; then the copy is of no use.
void snapshotDatabase(FileSystem& files, const Path& live, const Path& copy, std::stop_token stop);

/// Checks an archived database: SQLite's own check must pass, `probe` must be a query that the
/// database can answer, and there must be no triggers, views or virtual tables, which this program
/// never makes. Writes nothing beside the file. Throws RestoreError.
void checkArchivedDatabase(const Path& path, const char* probe);

/// The probes for the collection's database and for the receipts'.
inline constexpr const char* collectionProbe = "SELECT id, file_path FROM crumbs LIMIT 1;";
inline constexpr const char* receiptsProbe = "SELECT id, original_file_path FROM receipts LIMIT 1;";

}  // namespace nookery
