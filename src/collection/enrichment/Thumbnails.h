#pragma once

#include <stop_token>
#include <string_view>

#include "foundation/FileSystem.h"
#include "foundation/Uuid.h"
#include "platform/Picture.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// The longer side of a thumbnail at most.
constexpr int thumbnailSide = 320;

/// Where the thumbnail of a memory's original lies when there is one, a JPEG file in the cache. An
/// original whose size or time has changed has another place. Names begin with the memory's id.
Path thumbnailPath(const LibraryLayout& layout, const Uuid& id, const FileStatus& original);

/// A picture of what a file shows: the image itself, the first page, a film's picture, a sound's
/// cover; its longer side is about `longestSide`. Empty for a file that shows nothing. Throws
/// FileError, Cancelled, and another Error when the file cannot be understood. Any thread.
Picture pictureOfOriginal(const Path& original, int longestSide, const Platform& platform,
                          const std::stop_token& stop);

/// Puts bytes at a place in the cache; a reader finds the old ones or the new ones whole. Throws
/// FileError. Any thread.
void writeToCache(const Path& place, std::string_view bytes, const Platform& platform);

/// Scales a picture down, and puts it in place of the memory's thumbnail. Throws Error. Any thread.
void writeThumbnail(const Uuid& id, const FileStatus& original, const Picture& picture,
                    const Platform& platform, const LibraryLayout& layout);

/// The picture with its longer side at most `longestSide`, each pixel the mean of those that it
/// stands for.
Picture scaledDown(const Picture& picture, int longestSide);

}  // namespace nookery
