#pragma once

#include "foundation/Uuid.h"
#include "platform/Picture.h"
#include "platform/Platform.h"
#include "records/LibraryLayout.h"

namespace nookery {

/// The longer side of a thumbnail at most.
constexpr int thumbnailSide = 320;

/// Where a memory's thumbnail lies when there is one, a JPEG file in the cache.
Path thumbnailPath(const LibraryLayout& layout, const Uuid& id);

/// Scales a picture down and puts it in place of the memory's thumbnail; a reader finds the old
/// one or the new one whole. Throws Error. Any thread.
void writeThumbnail(const Uuid& id, const Picture& picture, const Platform& platform,
                    const LibraryLayout& layout);

/// The picture with its longer side at most `longestSide`, each pixel the mean of those that it
/// stands for.
Picture scaledDown(const Picture& picture, int longestSide);

}  // namespace nookery
