#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

#include "foundation/FileSystem.h"
#include "foundation/Uuid.h"
#include "platform/Picture.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// What looking for a memory's thumbnail came to.
struct ThumbnailReading {
    std::optional<FileStatus> original;      ///< none when there is no original
    bool isKnown = false;                    ///< the original is as it was: nothing was read
    std::shared_ptr<const Picture> picture;  ///< null when the original shows nothing
    std::uint64_t writtenByteCount = 0;      ///< to the cache folder
};

/// Reads the thumbnail out of the cache folder, or makes it of the original and puts it there. What
/// cannot be shown is noted there, too. `known` is the original for which the caller has the
/// answer. Throws FileError when the original cannot be read at present, and Cancelled. Any thread.
ThumbnailReading readThumbnail(const Uuid& id, const Path& original,
                               const std::optional<FileStatus>& known, const Platform& platform,
                               const LibraryLayout& layout, const std::stop_token& stop);

/// Removes the files of the cache folder that were not used for longest, until the others take at
/// most nine tenths of `byteCount`; nothing while all of them take no more than it. Throws
/// FileError. Any thread.
void tidyThumbnails(const LibraryLayout& layout, FileSystem& files, std::uint64_t byteCount);

}  // namespace nookery
