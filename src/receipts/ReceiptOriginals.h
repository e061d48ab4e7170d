#pragma once

#include <stop_token>

#include "collection/database/Sidecar.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// A receipt's own copy of its file, in the receipts' folder.
struct PreservedReceipt {
    Path place;
    OriginalFact fact;  ///< without the receipt's id
};

/// Copies `source` (links are followed) into the receipts' folder under a new identifier and the
/// source's extension, compares the copy with what was read, and makes it survive a power cut.
/// Throws FileError, Error or Cancelled; then no copy stays. Not on the main thread.
PreservedReceipt preserveReceipt(const Platform& platform, const LibraryLayout& layout,
                                 const Path& source, std::stop_token stop);

/// Removes what interrupted copies left. Only while nobody else has the library open for writing.
void removeInterruptedCopies(FileSystem& files, const LibraryLayout& layout);

}  // namespace nookery
