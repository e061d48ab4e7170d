#pragma once

#include "archive/CrumbCompleteArchive.h"
#include "platform/work/Operation.h"

/// The long work on archives, as operations on the capture queue. Each fails with what the function
/// that does its work throws, and leaves what that leaves. Main thread.
namespace nookery {

/// `CrumbCompleteArchive::write`.
OperationPointer<ArchiveSummary> beginArchiveExport(const Platform& platform,
                                                    const LibraryLayout& layout,
                                                    CrumbCompleteArchive::Source source,
                                                    const Path& destination);

/// `checkArchive`.
OperationPointer<ArchiveSummary> beginArchiveCheck(const Platform& platform, const Path& folder);

/// `prepareArchiveRestore`. The caller holds the library's lock until the operation ends.
OperationPointer<ArchiveSummary> beginRestorePreparation(const Platform& platform,
                                                         const LibraryLayout& layout,
                                                         const Path& archiveFolder);

}  // namespace nookery
