#pragma once

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "collection/store/CrumbStore.h"
#include "platform/work/Operation.h"
#include "records/SecureMemories.h"

namespace nookery {

struct ExportReport {
    std::size_t writtenCount = 0;
    /// Protected memories, and what was derived from them: they do not leave this computer.
    std::size_t leftOutCount = 0;
};

/// The memories of a library as JSON lines, a piece at a time: as they were when it was made, with
/// no hold on the library. Made on the main thread, and used by one thread afterwards.
class LibraryExport {
  public:
    explicit LibraryExport(const CrumbStore& store);

    /// About a megabyte of whole lines; empty at the end. Reports how far it is, and throws
    /// Cancelled when it is asked to stop.
    std::string next(const OperationControl& control);
    /// As far as it is.
    const ExportReport& report() const { return report_; }

  private:
    CrumbItemList items_;
    TagsByID manualTags_;
    FindMemory find_;
    std::size_t next_ = 0;
    ExportReport report_;
};

/// The next piece, made on the capture queue. One at a time. Main thread.
OperationPointer<std::string> nextPiece(const Platform& platform,
                                        std::shared_ptr<LibraryExport> lines);

/// Writes all of it into a file, on the capture queue: beside the wished place first, so that the
/// file is whole or not there, and what was there stays until then. Fails with FileError. Main
/// thread.
OperationPointer<ExportReport> startExport(const Platform& platform,
                                           std::shared_ptr<LibraryExport> lines, const Path& path);

}  // namespace nookery
