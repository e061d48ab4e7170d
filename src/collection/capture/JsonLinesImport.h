#pragma once

#include <memory>
#include <vector>

#include "collection/capture/JsonLines.h"
#include "collection/database/Library.h"
#include "platform/Platform.h"
#include "platform/work/Operation.h"

namespace nookery {

struct ImportReport {
    std::size_t addedCount = 0;
    std::vector<ImportFailure> failures;  ///< lines that are no memory
    bool cancelled = false;               ///< what came before the cancellation is in
};

/// Takes memories of JSON lines into a library: lines are read on the capture queue, a thousand
/// memories at a time are committed, so that each batch is in whole or not at all. Fails with the
/// batch that could not be saved, or where the file cannot be read on; what came before it is in.
/// `beforeCommit`, if any, is told of each batch. The library outlives the operation. Main thread.
OperationPointer<ImportReport> startImport(const Platform& platform, Library& library,
                                           std::unique_ptr<ReadableFile> file,
                                           BeforeCommit beforeCommit = {});

}  // namespace nookery
