#pragma once

#include "archive/ArchiveManifest.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// Makes an archive's copy in `pending` ready to become the library at `layout`: every original
/// gets its place, and the databases learn of it. Only originals that the manifest lists are
/// touched.
/// - Managed originals will lie in `Items` under their names in the archive.
/// - A linked original stays linked when a file with the same digest still lies where it was,
/// outside
///   the library; else its copy comes into `Items` under a free name.
/// - Any other path leaves its record, so that no file of this computer that an archive merely
/// names is ever shown, published or exported as part of the library. It stays among the record's
/// words.
/// - Receipts will lie among the receipts' originals.
/// - A sidecar with the archive's digests is made.
/// Each database is changed in one transaction, and doing all of it again after an interruption
/// comes to the same. Throws DatabaseError, FileError or RestoreError.
void relocateOriginals(const Platform& platform, const LibraryLayout& layout, const Path& pending,
                       const ArchiveContents& contents);

/// How many records of the library have such a path among their words. Throws DatabaseError or
/// FileError.
std::int64_t withdrawnPathCount(FileSystem& files, const LibraryLayout& layout);

}  // namespace nookery
