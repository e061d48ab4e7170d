#include "archive/ArchiveOperations.h"

#include "archive/ArchiveCheck.h"
#include "archive/ArchiveRestore.h"

namespace nookery {

OperationPointer<ArchiveSummary> beginArchiveExport(const Platform& platform,
                                                    const LibraryLayout& layout,
                                                    CrumbCompleteArchive::Source source,
                                                    const Path& destination) {
    return startOperation(
        platform.captureQueue, platform.mainQueue,
        [platform, layout, source = std::move(source), destination](const auto& control) {
            return CrumbCompleteArchive::write(platform, layout, source, destination, control);
        });
}

OperationPointer<ArchiveSummary> beginArchiveCheck(const Platform& platform, const Path& folder) {
    return startOperation(platform.captureQueue, platform.mainQueue,
                          [platform, folder](const auto& control) {
                              return checkArchive(platform, folder, control);
                          });
}

OperationPointer<ArchiveSummary> beginRestorePreparation(const Platform& platform,
                                                         const LibraryLayout& layout,
                                                         const Path& archiveFolder) {
    return startOperation(platform.captureQueue, platform.mainQueue,
                          [platform, layout, archiveFolder](const auto& control) {
                              return prepareArchiveRestore(platform, layout, archiveFolder,
                                                           control);
                          });
}

}  // namespace nookery
