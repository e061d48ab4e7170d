#pragma once

#include "foundation/FileSystem.h"
#include "foundation/Timestamp.h"

namespace nookery {

// The folders inside the shared folder.
inline constexpr const char* memoriesFolderName = "MemoriesV1";  ///< the index and its attachments
inline constexpr const char* editsFolderName = "EditsV1";  ///< the phone's requests, our receipts

/// Removes temporary files that a killed process left in the folder. Those younger than a day stay:
/// another computer may be writing them. Throws FileError.
void removeInterruptedWrites(FileSystem& files, const Path& folder, Timestamp now);

}  // namespace nookery
